// A growable array of bytes whose growth does not copy what it holds.
//
// std::vector and std::string hold old and new storage at once when they grow
// and touch every new byte twice. Storage here comes from realloc(3), which
// moves large blocks by remapping pages: peak memory stays near the size, and
// bytes are read straight into the free tail. Runs out of memory as new does,
// with std::bad_alloc and the content intact.

#pragma once

#include <cstddef>
#include <string_view>

namespace zelk::util {

class byte_buffer {
 public:
  byte_buffer() = default;
  explicit byte_buffer(std::string_view bytes) { append(bytes); }
  byte_buffer(byte_buffer&& other) noexcept;
  byte_buffer& operator=(byte_buffer&& other) noexcept;
  byte_buffer(const byte_buffer& other);
  byte_buffer& operator=(const byte_buffer& other);
  ~byte_buffer();

  const unsigned char* data() const { return data_; }  // null when never grown
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  // The content as text; valid until the buffer changes.
  std::string_view view() const;

  // Makes room for at least `count` bytes behind the content and returns where
  // they start; `grown_by` then takes in what was put there.
  unsigned char* free_tail(std::size_t count);
  std::size_t free_size() const { return capacity_ - size_; }
  // Requires: count <= free_size().
  void grown_by(std::size_t count) { size_ += count; }

  void append(std::string_view bytes);
  void clear() { size_ = 0; }  // keeps the storage

 private:
  unsigned char* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

inline bool operator==(const byte_buffer& a, const byte_buffer& b) {
  return a.view() == b.view();
}

}  // namespace zelk::util
