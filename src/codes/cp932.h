// Shift_JIS (code page 932) <-> UTF-8 through the generated tables.
#pragma once

#include <cstddef>
#include <string>

namespace tz {

// Appends the UTF-8 form of `n` bytes of Shift_JIS. A double byte that the code page
// lacks gives U+30FB, as the platform conversion of code page 932 does.
void append_utf8_from_sjis(std::string& out, const char* p, size_t n);

// Appends the Shift_JIS form of `n` bytes of UTF-8; a character that the code page
// lacks, and every ill-formed sequence, gives "?"; one beyond U+FFFF gives "??".
void append_sjis_from_utf8(std::string& out, const char* p, size_t n);

// The same into `out`, which has room for 3 * n + 16 bytes (whole blocks are stored
// beyond the end of what counts); result: the bytes written.
size_t write_utf8_from_sjis(const char* p, size_t n, char* out);

// The same into `out`, which has room for n bytes and may be `p` itself, since the
// Shift_JIS form is never longer; result: the bytes written.
size_t write_sjis_from_utf8(const char* p, size_t n, char* out);

}  // namespace tz
