// Conversions between Shift_JIS (code page 932), EUC-JP and UTF-8, the sweep of
// invalid characters, and Base64. Code numbers: 0 auto, 1 Shift_JIS, 2 EUC-JP,
// 3 UTF-8, 4 Big5 (never converted).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "codes/guess.h"

namespace tz {

struct Run;
class ByteBlock;

// Converts the NUL-ended `text` in place; `size` is the room of its buffer, NUL
// included, and the result is cut to fit. `from` 0 guesses the code over `size` bytes.
// Returns the new length.
size_t convert_code(Run& run, char* text, int from, int to, size_t size);

// convert_code of the text at `offset` in `block` (room `size`), for whole logs: where the
// text grows, the result may take the place of `block` (which then holds the bytes before
// `offset` unchanged). Returns the new length of the text. `len`, when known, is where
// its first NUL stands (strnlen(text, size)).
constexpr size_t kLengthUnknown = static_cast<size_t>(-1);
size_t convert_log_text(Run& run, ByteBlock& block, size_t offset, int from, int to, size_t size,
                        size_t len = kLengthUnknown);

// The same on a string whose room is `size` bytes (the result keeps at most size - 1).
void convert_code(Run& run, std::string& text, int from, int to, size_t size);

// Sweeps `text` for what is no valid character of `code`, in place. With `whole` 1,
// `size` bytes are swept whatever NUL bytes stand among them; with 0 the string, or
// `size` bytes if it is longer. Result 0, or 1 when `code` is 0 or above 3.
int clean_text(char* text, int code, size_t size, int whole);
int clean_text(std::string& text, int code, size_t size);

// The line feeds and carriage returns of a text.
struct LineEnds {
  size_t lf = 0;
  size_t cr = 0;
};

// clean_text of `size` bytes whatever NUL bytes stand among them (`whole` 1), which also
// counts the line ends of the swept text into `ends`.
int clean_text_counted(char* text, int code, size_t size, LineEnds* ends);

// Where a Shift_JIS sweep stands: the blocks of 64 bytes swept so far.
struct BlockSweep {
  size_t i = 0;        // the next block
  uint64_t carry = 0;  // 1 when byte i is the second of a pair begun before it
  int64_t score = 0;
  LineEnds ends;
};

// clean_text_counted of a Shift_JIS text that is read in pieces: each piece is swept as
// it comes in, while it is still in the processor's cache. The text is the same. Made
// with `score_from`, it also scores the text from there on, but only a floor of what
// clean_text_scored gives: every pair counts 2, the lower of its two values.
class SjisSweep {
 public:
  explicit SjisSweep(char* text) : text_(text) {}
  SjisSweep(char* text, size_t score_from)
      : text_(text), from_(score_from), scored_(true), counted_(score_from) {}
  // Sweeps what it can of the first `n` bytes, which have been read.
  void take(size_t n);
  // Sweeps the rest of the `n` bytes of the whole text; its line ends.
  LineEnds finish(size_t n);
  // The same for a sweep that scores; the floor of the score of the whole text.
  int64_t finish_floor(size_t n, LineEnds* ends);
  // A sweep that scores also counts the byte ranges of the swept text from where it
  // scores, for the bounds of the guess; these are the counts once it has finished.
  const ByteRanges& ranges() const { return ranges_; }

 private:
  char* text_;
  size_t from_ = 0;
  bool scored_ = false;
  BlockSweep state_;
  // Counted from from_ up to counted_, as each piece is swept, while it is in the cache.
  size_t counted_ = 0;
  ByteRanges ranges_;
  void count_to(size_t to);
};

// clean_text of `size` bytes whatever NUL bytes stand among them, which also gives the
// score that guess_code would give the swept text from `from` on in its own code (for
// Shift_JIS before halving). `from` must lie where a character begins.
int clean_text_scored(char* text, int code, size_t size, size_t from, int64_t* score);

// Keeps the Shift_JIS sweep to 16-byte vectors, EUC-JP to Shift_JIS and Shift_JIS to
// UTF-8 byte by byte and the byte count of the code guess to 32-byte vectors, even where
// the processor has wider ones, so that both ways can be checked on one machine.
void sweep_narrow(bool narrow);

// The single conversions; each works in place within `size` bytes of room.
size_t euc_to_sjis(char* text, size_t size);
size_t sjis_to_euc(Run& run, char* text, size_t size);
size_t sjis_to_utf8(Run& run, char* text, size_t size);
size_t utf8_to_sjis(Run& run, char* text, size_t size);

// Plain conversions of a whole string, for the program's own texts and for paths
// (file names are UTF-8 on this platform; messages are Shift_JIS inside).
std::string sjis_from_utf8(std::string_view utf8);
std::string utf8_from_sjis(std::string_view sjis);

// Standard Base64 (RFC 4648 alphabet, '=' padding) of a NUL-ended string.
std::string to_base64(std::string_view text);
std::string from_base64(std::string_view text);

}  // namespace tz
