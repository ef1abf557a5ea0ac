// The command line into settings.
#pragma once

#include <string_view>

namespace tz {

struct Run;

// Result 0 a list is to be walked, 1 one named file (or a NUL source), 2 stop: a help
// page was printed or the command line was refused.
int parse_command_line(Run& run, int argc, char** argv);

// The hexadecimal blocks of /m and /o.
void set_m_block(Run& run, std::string_view text);
void set_o_block(Run& run, std::string_view text);

}  // namespace tz
