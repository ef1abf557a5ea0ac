#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "run/records.h"

namespace tz {
namespace {

// A block set aside between folders reads as empty, and its memory comes back whole at
// the next growth that fits it; one that doesn't fit keeps the bytes it is told to keep.
TEST(ByteBlock, SetAsideKeepsTheMemoryForTheNextGrowth) {
  const size_t reserve = ByteBlock::kReserve;
  const struct {
    size_t first;  // the first growth, written over with a pattern
    size_t then;   // the growth after the block was set aside
    size_t keep;
    bool same_memory;
  } cases[] = {
      {10, 30721, 0, true},
      {reserve, reserve, 0, true},
      {100, reserve + 1, 50, false},
      {reserve + 5, reserve + 6, reserve + 5, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.first << " then " << c.then);
    ByteBlock block;
    ASSERT_TRUE(block.grow(c.first));
    const size_t room = block.size();
    EXPECT_GE(room, c.first);
    std::string pattern(room, '\0');
    for (size_t i = 0; i < room; ++i) pattern[i] = static_cast<char>('a' + i % 23);
    std::memcpy(block.data(), pattern.data(), room);
    const char* before = block.data();

    block.set_aside();
    EXPECT_TRUE(block.empty());
    ASSERT_TRUE(block.grow_keeping(c.then, c.keep));
    EXPECT_GE(block.size(), c.then);
    EXPECT_EQ(block.data() == before, c.same_memory);
    if (c.same_memory) {
      EXPECT_EQ(block.size(), room);
    } else {
      ByteBlock kept;
      ASSERT_TRUE(kept.grow(c.first));
      std::memcpy(kept.data(), pattern.data(), room);
      ASSERT_TRUE(kept.grow_keeping(c.then, c.keep));
      EXPECT_EQ(std::string(kept.data(), c.keep), pattern.substr(0, c.keep));
    }
  }
}

// The log buffer and the work block change places with every conversion into UTF-8: each
// keeps its own bytes and room through the exchange, and a block moved from is empty.
TEST(ByteBlock, ChangingPlacesKeepsEachBlockWhole) {
  ByteBlock log;
  ByteBlock work;
  ASSERT_TRUE(log.grow(100));
  ASSERT_TRUE(work.grow(ByteBlock::kReserve + 4096));
  std::memcpy(log.data(), "log", 4);
  std::memcpy(work.data() + ByteBlock::kReserve, "work", 5);
  const size_t log_room = log.size();
  const size_t work_room = work.size();

  std::swap(log, work);
  EXPECT_EQ(log.size(), work_room);
  EXPECT_EQ(work.size(), log_room);
  EXPECT_STREQ(log.data() + ByteBlock::kReserve, "work");
  EXPECT_STREQ(work.data(), "log");

  ByteBlock taken(std::move(work));
  EXPECT_STREQ(taken.data(), "log");
  EXPECT_TRUE(work.empty());  // NOLINT(bugprone-use-after-move): a moved block is empty
  EXPECT_EQ(work.data(), nullptr);
}

}  // namespace
}  // namespace tz
