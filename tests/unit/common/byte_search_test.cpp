#include "common/byte_search.h"

#include <gtest/gtest.h>

#include <string>

namespace tz {
namespace {

using LtAmp = AnyOf<'<', '&'>;

// Where a plain walk finds the first '<' or '&'.
size_t plain_find(const std::string& text, size_t from) {
  size_t at = text.find_first_of("<&", from);
  return at == std::string::npos ? text.size() : at;
}

TEST(AnyOf, FindsTheFirstStopInEveryTail) {
  // Texts of all lengths around the block sizes, with stops at the edges of blocks and in
  // the tail that is read from behind or through the copy of a short text.
  for (size_t len = 0; len <= 70; ++len) {
    for (size_t stop : {size_t{0}, size_t{1}, size_t{15}, size_t{16}, size_t{17}, size_t{31},
                        size_t{32}, len / 2, len - 1}) {
      std::string text(len, 'x');
      if (stop < len) text[stop] = (stop % 2) ? '<' : '&';
      if (len > 3) text[len - 3] = '\x81';  // no member of the set
      for (size_t from = 0; from <= len; from += 7) {
        for (size_t lo : {size_t{0}, from}) {
          const char* got = LtAmp::find(text.data() + from, text.data() + len, text.data() + lo);
          EXPECT_EQ(static_cast<size_t>(got - text.data()), plain_find(text, from))
              << "len " << len << " stop " << stop << " from " << from << " lo " << lo;
        }
      }
    }
  }
}

TEST(AnyOf, HighBytesAndMembers) {
  using Set = AnyOf<' ', 0x81, 'h'>;
  EXPECT_TRUE(Set::has(0x81) && Set::has(' ') && Set::has('h'));
  EXPECT_FALSE(Set::has(0x82) || Set::has('H') || Set::has(0));
  const std::string text = std::string(20, '\xFF') + "\x81" + std::string(20, 'a');
  EXPECT_EQ(Set::find(text.data(), text.data() + text.size(), text.data()) - text.data(), 20);
}

TEST(CopyBytes, CopiesEveryLengthExactly) {
  std::string src;
  for (int i = 0; i < 80; ++i) src += static_cast<char>('A' + i % 50);
  for (size_t n = 0; n <= 70; ++n) {
    std::string dst(80, '.');
    copy_bytes(dst.data() + 3, src.data() + 5, n);
    EXPECT_EQ(dst.substr(3, n), src.substr(5, n)) << n;
    EXPECT_EQ(dst.substr(0, 3), "...") << n;
    EXPECT_EQ(dst.substr(3 + n), std::string(77 - n, '.')) << n;
  }
}

// The last byte of a range, against memrchr: every range of a 48-byte text (sixteen-byte
// steps, the short rest read from behind or byte by byte), the readable start anywhere
// before it, and the byte anywhere or nowhere.
TEST(LastByte, AgreesWithMemrchrOverEveryRange) {
  std::string text(48, '.');
  for (size_t hit :
       {size_t{0}, size_t{5}, size_t{15}, size_t{16}, size_t{31}, size_t{47}, text.size()}) {
    std::string t = text;
    if (hit < t.size()) t[hit] = ':';
    t[hit / 2] = ':';
    for (size_t from = 0; from <= t.size(); ++from) {
      for (size_t to = from; to <= t.size(); ++to) {
        for (size_t lo : {size_t{0}, from}) {
          const void* want = memrchr(t.data() + from, ':', to - from);
          EXPECT_EQ(last_byte(t.data() + lo, t.data() + from, t.data() + to, ':'), want)
              << "hit " << hit << ", " << from << " to " << to << ", readable from " << lo;
        }
      }
    }
  }
}

}  // namespace
}  // namespace tz
