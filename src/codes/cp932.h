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

}  // namespace tz
