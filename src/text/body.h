// A log line's fields into plain text: entities, tags, line breaks, the line limit;
// the cleaning of a title and the excerpt of post 1.
#pragma once

#include <cstddef>
#include <string>

namespace tz {

struct Run;
struct Post;

// Fills run.post from run.line (the fields made by next_line).
void read_post(Run& run);

// Ends post.body where the line limit cut it; a carriage return before the cut goes too.
void cut_body(Post& post);

// Cleans `title` (code `code_from`, 0 = guess) in place; converts it to `code_to`
// (0 = leave). `mode` 11 full cleaning, -1 conversion alone; `size` is its room.
void clean_title(Run& run, std::string& title, int code_from, int code_to, int mode, size_t size);

// Appends the excerpt of the current post to run.excerpt.
void make_excerpt(Run& run, int tree_mode);

}  // namespace tz
