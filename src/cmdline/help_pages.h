// The help pages: the short usage, the long usage, the version line and one detail
// page for each option that has a value language. The texts are data of their own.
#pragma once

namespace tz {

struct Run;

enum class HelpPage { a, ck, f, i, l, m, mv, o, q, s, t, ts, u };

// The page of a run without arguments.
void print_short_page(Run& run);
// The page of /h: every option.
void print_long_page(Run& run);
// "tanzaku Ver. ..." alone.
void print_version_line(Run& run);
// The detail page of one option (the forms /a-h, /ck-h, ...).
void print_help_page(Run& run, HelpPage page);

}  // namespace tz
