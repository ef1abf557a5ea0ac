// The program's two channels: the console (standard output) and the log file
// tanzaku_log.txt beside the program. Messages are Shift_JIS inside.
#pragma once

#include <string>
#include <string_view>

namespace tz {

struct Run;

// Formats like printf and prints to the console in the console's code.
void con_print(Run& run, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Prints a finished text to the console in the console's code.
void con_write(Run& run, std::string_view text);

// The message routine: `format` holds up to three %s for a, b, c. Goes to the
// console, the log or both by conmode; nothing at all under /st.
void say(Run& run, const char* format, const char* a = "", const char* b = "", const char* c = "");

// Opens the log file when /l or /v asks for it and fixes conmode.
void open_log(Run& run);

// The last call of a run: inidir.txt for /v and the closing pause.
void leave_run(Run& run, const std::string& path, int flag, int status);

// A path or file name (file-name code) as Shift_JIS text for a message.
std::string sjis_path(std::string_view path);

// Replaces each %s of `format` by a, b, c in turn and %% by %; any other % stays.
std::string format_s(std::string_view format, const char* a, const char* b, const char* c);

}  // namespace tz
