#include "codes/byte_blocks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

namespace tz {
namespace {

// The first bytes of pairs, walking each run of lead bytes from its start.
uint64_t pair_starts_walked(uint64_t run) {
  uint64_t out = 0;
  bool second = false;
  for (int k = 0; k < 64; ++k) {
    if (!(run >> k & 1)) {
      second = false;
      continue;
    }
    if (!second) out |= uint64_t{1} << k;
    second = !second;
  }
  return out;
}

TEST(PairStarts, RunsOfEveryStartAndLength) {
  const struct {
    const char* what;
    uint64_t run;
    uint64_t starts;
  } cases[] = {
      {"none", 0, 0},
      {"one lead", 0b1, 0b1},
      {"run of two", 0b11, 0b01},
      {"run of three", 0b111, 0b101},
      {"run of three at an odd place", 0b1110, 0b1010},
      {"run of three at an even place", 0b11100, 0b10100},
      {"two runs at odd places", 0b1101110, 0b0101010},
      {"two runs, one at an even place", 0b11011100, 0b01010100},
      {"everything", ~uint64_t{0}, 0x5555555555555555ull},
      {"everything but the first", ~uint64_t{1}, 0xAAAAAAAAAAAAAAAAull},
      {"run at the top from an odd place", 0xE000000000000000ull, 0xA000000000000000ull},
      {"run at the top from an even place", 0xC000000000000000ull, 0x4000000000000000ull},
      {"the top bit alone", 0x8000000000000000ull, 0x8000000000000000ull},
  };
  for (const auto& c : cases) EXPECT_EQ(blocks::pair_starts(c.run), c.starts) << c.what;

  // Masks of short and long runs: few bits, half the bits, most bits set.
  std::mt19937_64 random(7);
  for (int round = 0; round < 30000; ++round) {
    uint64_t run = random();
    if (round % 3 == 0) run &= random();
    if (round % 3 == 1) run |= random() | random();
    ASSERT_EQ(blocks::pair_starts(run), pair_starts_walked(run)) << std::hex << run;
  }
}

TEST(CountBitsWeighted, FullFieldsDoNotSpill) {
  const struct {
    uint64_t a;
    uint64_t starts;
    unsigned weight;
    int sum;
  } cases[] = {
      {0, 0, 5, 0},
      {~uint64_t{0}, 0x5555555555555555ull, 5, 64 + 32 * 5},
      {~uint64_t{0}, 0xAAAAAAAAAAAAAAAAull, 3, 64 + 32 * 3},
      {0xF, 0x5, 5, 4 + 2 * 5},
      {0xFF, 0x55, 5, 8 + 4 * 5},
      {0x8000000000000000ull, 0x8000000000000000ull, 2, 3},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(blocks::count_bits_weighted(c.a, c.starts, c.weight), c.sum) << std::hex << c.a;
  }
  std::mt19937_64 random(11);
  for (int round = 0; round < 10000; ++round) {
    uint64_t a = random();
    uint64_t starts = blocks::pair_starts(random() | random());
    unsigned weight = 1 + round % 5;
    int sum = 0;
    for (int k = 0; k < 64; ++k) sum += static_cast<int>((a >> k & 1) + weight * (starts >> k & 1));
    ASSERT_EQ(blocks::count_bits_weighted(a, starts, weight), sum) << round;
  }
}

#if defined(__SSE2__)
// Every byte against the bounds where the sweeps draw their lines, the widest included.
TEST(InRange, EveryByteAgainstTheBounds) {
  const struct {
    unsigned lo;
    unsigned hi;
  } ranges[] = {{0x81, 0xFC}, {0xA0, 0xDF}, {0x40, 0x7E}, {0x20, 0xFC}, {0x98, 0xEA},
                {0xA1, 0xFE}, {0x20, 0x7F}, {0x8E, 0x8F}, {0x00, 0x00}, {0x01, 0xFF}};
  for (const auto& r : ranges) {
    for (unsigned b = 0; b < 256; b += 16) {
      unsigned char bytes[16];
      for (unsigned k = 0; k < 16; ++k) bytes[k] = static_cast<unsigned char>(b + k);
      __m128i x = blocks::load16(bytes);
      uint64_t in = blocks::bits16(blocks::in_range(x, r.lo, r.hi), 0);
      uint64_t out = blocks::bits16(blocks::out_of_range(x, r.lo, r.hi), 0);
      for (unsigned k = 0; k < 16; ++k) {
        bool inside = b + k >= r.lo && b + k <= r.hi;
        EXPECT_EQ((in >> k & 1) != 0, inside) << std::hex << r.lo << "-" << r.hi << ": " << b + k;
        EXPECT_EQ((out >> k & 1) != 0, !inside) << std::hex << r.lo << "-" << r.hi << ": " << b + k;
      }
    }
  }
}
#endif

}  // namespace
}  // namespace tz
