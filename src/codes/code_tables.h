// Generated code tables (tools/gen_code_tables.py writes code_tables.cpp).
#pragma once

#include <cstdint>

namespace tz {

// Lead byte index: 0x81..0x9F -> 0..30, 0xE0..0xFC -> 31..59. Trail index: byte - 0x40.
inline int sjis_lead_index(unsigned lead) { return lead < 0xA0 ? lead - 0x81 : lead - 0xE0 + 31; }

// Unicode of a code page 932 double byte; 0 = not a character of the code page.
extern const uint16_t kSjisToUcs[60][189];

// Code page 932 bytes of a Unicode character of the basic plane: the page of its high
// byte is kUcsToSjis[kUcsPage[high]]; 0 = no such character. Single bytes are < 0x100.
extern const uint8_t kUcsPage[256];
extern const uint16_t kUcsToSjis[][256];

// EUC-JP bytes of the IBM extensions 0xFA40..0xFCFC by (lead - 0xFA) * 189 + trail - 0x40:
// length (2 or 3), then the bytes. Code points that are no character hold two blanks.
extern const uint8_t kIbmToEuc[3 * 189][4];

}  // namespace tz
