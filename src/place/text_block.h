// A block of output text, built in place: its room is reserved without being cleared,
// so that a post can be written straight into the block that goes to the file.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

namespace tz {

// Blocks of the usual size are kept for the run once got, and got in huge pages, six to a
// page: each first write to a page of memory costs a fault, and the blocks waiting for
// the writers are many.
namespace block_memory {
constexpr size_t kUsual = (1 << 18) + (1 << 16);  // 256 KB of text and a few posts more
// Room for `n` bytes, `*room` set to what was given (kUsual for any n up to it); null when
// there is no memory.
char* take(size_t n, size_t* room);
void give(char* p, size_t room);
}  // namespace block_memory

class TextBlock {
 public:
  TextBlock() = default;
  TextBlock(TextBlock&& other) noexcept { *this = std::move(other); }
  TextBlock& operator=(TextBlock&& other) noexcept {
    if (this != &other) {
      free_data();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
      room_ = std::exchange(other.room_, 0);
    }
    return *this;
  }
  ~TextBlock() { free_data(); }

  const char* data() const { return data_; }
  size_t size() const { return size_; }
  size_t capacity() const { return room_; }
  bool empty() const { return size_ == 0; }
  void clear() { size_ = 0; }

  // Room for `n` bytes in all, keeping the text.
  void reserve(size_t n) {
    if (n <= room_) return;
    size_t room = 0;
    char* bigger = block_memory::take(n, &room);
    if (!bigger) throw std::bad_alloc();
    if (size_) std::memcpy(bigger, data_, size_);
    free_data();
    data_ = bigger;
    room_ = room;
  }
  // Where `n` more bytes can be written behind the text; they count once `grow` says so.
  char* room_for(size_t n) {
    if (room_ - size_ < n) reserve(room_ * 2 > size_ + n ? room_ * 2 : size_ + n);
    return data_ + size_;
  }
  void grow(size_t n) { size_ += n; }
  void append(const char* text, size_t n) {
    if (n == 0) return;
    std::memcpy(room_for(n), text, n);
    size_ += n;
  }

 private:
  void free_data() {
    if (data_) block_memory::give(data_, room_);
    data_ = nullptr;
    room_ = 0;
  }

  char* data_ = nullptr;
  size_t size_ = 0;
  size_t room_ = 0;
};

}  // namespace tz
