#include "src/common/util/byte_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace zelk::util {
namespace {

// A first block that holds what most commands print without growing.
constexpr std::size_t least_capacity = 4096;  // bytes

constexpr std::size_t most_bytes = std::numeric_limits<std::ptrdiff_t>::max();

}  // namespace

byte_buffer::byte_buffer(byte_buffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)) {}

byte_buffer& byte_buffer::operator=(byte_buffer&& other) noexcept {
  byte_buffer taken(std::move(other));
  std::swap(data_, taken.data_);
  std::swap(size_, taken.size_);
  std::swap(capacity_, taken.capacity_);
  return *this;
}

byte_buffer::byte_buffer(const byte_buffer& other) {
  append(other.view());
}

byte_buffer& byte_buffer::operator=(const byte_buffer& other) {
  return *this = byte_buffer(other);
}

byte_buffer::~byte_buffer() {
  std::free(data_);
}

std::string_view byte_buffer::view() const {
  return {reinterpret_cast<const char*>(data_), size_};
}

// Doubling costs address space, not memory: the pages behind the content stay
// untouched. Where even address space is short (ulimit -v) the room that was
// asked for is enough.
unsigned char* byte_buffer::free_tail(std::size_t count) {
  if (count <= free_size()) return data_ + size_;
  if (count > most_bytes - size_) throw std::bad_alloc();
  const std::size_t needed = std::max(size_ + count, least_capacity);
  std::size_t wanted = std::max(needed, std::min(2 * capacity_, most_bytes));
  void* block = std::realloc(data_, wanted);
  if (block == nullptr && wanted > needed) {
    wanted = needed;
    block = std::realloc(data_, wanted);
  }
  if (block == nullptr) throw std::bad_alloc();
  data_ = static_cast<unsigned char*>(block);
  capacity_ = wanted;
  return data_ + size_;
}

// `bytes` may be a part of this very buffer, which growing moves.
void byte_buffer::append(std::string_view bytes) {
  if (bytes.empty()) return;
  const auto* from = reinterpret_cast<const unsigned char*>(bytes.data());
  const bool inside = data_ != nullptr && from >= data_ && from < data_ + size_;
  const std::size_t offset =
      inside ? static_cast<std::size_t>(from - data_) : 0;
  unsigned char* const to = free_tail(bytes.size());
  std::memcpy(to, inside ? data_ + offset : from, bytes.size());
  size_ += bytes.size();
}

}  // namespace zelk::util
