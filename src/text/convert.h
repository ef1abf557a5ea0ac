// The thread converter: the lines of a log into the text file, post by post.
#pragma once

namespace tz {

struct Run;
struct Times;

// Writes the whole thread (head, title, posts, foot; pieces with /d). Result: the
// number of the last post line seen. Sets sflg.pieces to -1 when a piece failed.
int convert_thread(Run& run, int list_only, int tree_mode, const Times& times);

// The /d step after a post: 0 a new piece has begun, 1 failed, 2 nothing to do.
int next_piece(Run& run, int post_no, const Times& times);

}  // namespace tz
