// A block of output text, built in place: its room is reserved without being cleared,
// so that a post can be written straight into the block that goes to the file.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

namespace tz {

class TextBlock {
 public:
  TextBlock() = default;
  TextBlock(TextBlock&& other) noexcept { *this = std::move(other); }
  TextBlock& operator=(TextBlock&& other) noexcept {
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0);
    room_ = std::exchange(other.room_, 0);
    return *this;
  }

  const char* data() const { return data_.get(); }
  size_t size() const { return size_; }
  size_t capacity() const { return room_; }
  bool empty() const { return size_ == 0; }
  void clear() { size_ = 0; }

  // Room for `n` bytes in all, keeping the text.
  void reserve(size_t n) {
    if (n <= room_) return;
    std::unique_ptr<char[]> bigger(new char[n]);
    if (size_) std::memcpy(bigger.get(), data_.get(), size_);
    data_ = std::move(bigger);
    room_ = n;
  }
  // Where `n` more bytes can be written behind the text; they count once `grow` says so.
  char* room_for(size_t n) {
    if (room_ - size_ < n) reserve(room_ * 2 > size_ + n ? room_ * 2 : size_ + n);
    return data_.get() + size_;
  }
  void grow(size_t n) { size_ += n; }
  void append(const char* text, size_t n) {
    if (n == 0) return;
    std::memcpy(room_for(n), text, n);
    size_ += n;
  }

 private:
  std::unique_ptr<char[]> data_;
  size_t size_ = 0;
  size_t room_ = 0;
};

}  // namespace tz
