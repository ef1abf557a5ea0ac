#include "place/text_block.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace tz {
namespace {

std::string text_of(const TextBlock& block) {
  return block.empty() ? std::string() : std::string(block.data(), block.size());
}

// Pieces written in place and appended, across the growth of the room: the text keeps
// every byte before the room moved, and the bytes written past a piece don't count.
TEST(TextBlock, KeepsItsTextAsItsRoomGrows) {
  const struct {
    size_t reserved;
    size_t piece;
    int pieces;
  } cases[] = {
      {0, 1, 40},          {16, 7, 30},          {100, 100, 5}, {64, 1000, 3},
      {1 << 16, 70000, 2}, {1 << 16, 200000, 3},  // from a block of the usual size to one of its
                                                  // own
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.reserved << " reserved, pieces of " << c.piece);
    TextBlock block;
    block.reserve(c.reserved);
    std::string want;
    for (int k = 0; k < c.pieces; ++k) {
      const std::string piece(c.piece, static_cast<char>('a' + k % 26));
      if (k % 2) {
        block.append(piece.data(), piece.size());
      } else {
        // Room for a longer piece than is kept, as a post is built with room to spare.
        char* w = block.room_for(piece.size() + 16);
        std::memcpy(w, piece.data(), piece.size());
        std::memset(w + piece.size(), '#', 16);
        block.grow(piece.size());
      }
      want += piece;
      ASSERT_EQ(text_of(block), want) << "after piece " << k;
      ASSERT_GE(block.capacity(), block.size());
    }
  }
}

TEST(TextBlock, MovedBlockLeavesAnEmptyOne) {
  TextBlock a;
  a.append("text", 4);
  TextBlock b = std::move(a);
  EXPECT_EQ(text_of(b), "text");
  EXPECT_TRUE(a.empty());  // NOLINT(bugprone-use-after-move): the moved block is reused
  EXPECT_EQ(a.capacity(), 0u);
  a.append("more", 4);
  EXPECT_EQ(text_of(a), "more");
  b.clear();
  EXPECT_TRUE(b.empty());
  EXPECT_GE(b.capacity(), 4u);
}

// Blocks of the usual size are cut from shared pages and come back to be taken again: the
// blocks in use never overlap, over more than one page of them, and one given back is
// the next taken.
TEST(TextBlock, BlocksOfTheUsualSizeAreKeptApartAndTakenAgain) {
  std::vector<TextBlock> blocks(14);
  for (size_t k = 0; k < blocks.size(); ++k) {
    blocks[k].reserve(k % 2 ? 10 : block_memory::kUsual);
    ASSERT_EQ(blocks[k].capacity(), block_memory::kUsual);
    const std::string fill(block_memory::kUsual, static_cast<char>('a' + k));
    blocks[k].append(fill.data(), fill.size());
  }
  for (size_t k = 0; k < blocks.size(); ++k) {
    const std::string want(block_memory::kUsual, static_cast<char>('a' + k));
    ASSERT_EQ(text_of(blocks[k]), want) << "block " << k;
  }
#if !defined(__SANITIZE_ADDRESS__)  // there each block is its own, for the checker
  const char* freed = blocks[3].data();
  blocks[3] = TextBlock();
  TextBlock again;
  again.reserve(1);
  EXPECT_EQ(again.data(), freed);
#endif

  TextBlock large;
  large.reserve(block_memory::kUsual + 1);
  EXPECT_EQ(large.capacity(), block_memory::kUsual + 1);
}

}  // namespace
}  // namespace tz
