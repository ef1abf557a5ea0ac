#include "place/text_block.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

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
      {0, 1, 40}, {16, 7, 30}, {100, 100, 5}, {64, 1000, 3}, {1 << 16, 70000, 2},
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

}  // namespace
}  // namespace tz
