#include "src/collect/src/db/tar.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <numeric>

#include "src/collect/src/db/archive_format.h"

namespace zelk::db {

namespace {

constexpr std::int64_t block = 512;  // bytes; everything fills whole ones

struct tar_header {
  char name[100];
  char mode[8];
  char uid[8];
  char gid[8];
  char size[12];  // octal digits and a zero byte, as all numbers here
  char mtime[12];
  char checksum[8];
  char type;
  char link_name[100];
  char magic[6];
  char version[2];
  char user[32];
  char group[32];
  char major[8];
  char minor[8];
  char prefix[155];
  char padding[12];
};
static_assert(sizeof(tar_header) == block);

template <std::size_t N>
void put_octal(char (&field)[N], std::int64_t value) {
  const std::string digits = fmt::format("{:0{}o}", value, N - 1);
  std::memcpy(field, digits.data(), N - 1);
}

// The sum of all bytes, those of the checksum itself taken as blanks.
std::int64_t checksum_of(tar_header header) {
  std::memset(header.checksum, ' ', sizeof header.checksum);
  std::array<unsigned char, block> bytes = {};
  std::memcpy(bytes.data(), &header, sizeof header);
  return std::accumulate(bytes.begin(), bytes.end(), std::int64_t{0});
}

tar_header header_for(std::string_view name, std::int64_t size,
                      std::int64_t time) {
  tar_header header = {};
  std::memcpy(header.name, name.data(),
              std::min(name.size(), sizeof header.name));
  put_octal(header.mode, 0600);
  put_octal(header.uid, 0);
  put_octal(header.gid, 0);
  put_octal(header.size, size);
  put_octal(header.mtime, std::clamp<std::int64_t>(time, 0, 077777777777));
  header.type = '0';
  std::memcpy(header.magic, "ustar", sizeof header.magic);
  std::memcpy(header.version, "00", sizeof header.version);
  put_octal(header.checksum, checksum_of(header));
  return header;
}

// -1 for what is no number.
template <std::size_t N>
std::int64_t octal(const char (&field)[N]) {
  std::int64_t value = 0;
  for (std::size_t i = 0; i + 1 < N; ++i) {
    if (field[i] < '0' || field[i] > '7') return -1;
    value = value * 8 + (field[i] - '0');
  }
  return value;
}

std::int64_t padding_of(std::int64_t size) {
  return (block - size % block) % block;
}

}  // namespace

void tar_writer::begin(std::string_view name, std::int64_t size) {
  const tar_header header = header_for(name, size, time_);
  std::array<char, block> bytes = {};
  std::memcpy(bytes.data(), &header, sizeof header);
  out_.write({bytes.data(), bytes.size()});
  size_ = size;
}

void tar_writer::write(std::string_view bytes) {
  out_.write(bytes);
}

void tar_writer::end() {
  out_.write(std::string(static_cast<std::size_t>(padding_of(size_)), '\0'));
}

void tar_writer::finish() {
  out_.write(std::string(2 * block, '\0'));
}

void tar_reader::complain(const std::string& what) const {
  if (name_.empty()) throw archive_error(what);
  throw archive_error(fmt::format(
      "{} (at byte {} of the uncompressed file): {}", name_, member_, what));
}

std::size_t tar_reader::read_some(char* to, std::size_t count) {
  try {
    return in_.read(to, count);
  } catch (const archive_error& error) {
    complain(error.what());
  }
}

void tar_reader::read_bytes(char* to, std::size_t count) {
  while (count > 0) {
    const std::size_t got = read_some(to, count);
    if (got == 0) complain("the file ends here");
    to += got;
    count -= got;
    place_ += static_cast<std::int64_t>(got);
  }
}

std::int64_t tar_reader::begin(const std::string& name, std::int64_t most) {
  name_ = name;
  member_ = place_;
  std::array<char, block> bytes = {};
  read_bytes(bytes.data(), bytes.size());
  tar_header header = {};
  std::memcpy(&header, bytes.data(), sizeof header);
  const std::string_view found(header.name,
                               ::strnlen(header.name, sizeof header.name));
  const bool plain = std::memcmp(header.magic, "ustar", 6) == 0 &&
                     header.type == '0' && header.prefix[0] == '\0';
  if (!plain || octal(header.checksum) != checksum_of(header))
    complain("expected the head of a plain member of a tar file");
  if (found != name) complain("another member stands here");
  size_ = left_ = octal(header.size);
  if (size_ < 0) complain("its size is not a number");
  if (size_ > most)
    complain(fmt::format("it has {} bytes, at most {} are taken", size_, most));
  return size_;
}

void tar_reader::read(char* to, std::size_t count) {
  if (static_cast<std::int64_t>(count) > left_) complain("it ends too early");
  read_bytes(to, count);
  left_ -= static_cast<std::int64_t>(count);
}

void tar_reader::check_zeros(std::size_t count) {
  std::array<char, 2 * block> bytes = {};
  read_bytes(bytes.data(), count);
  if (std::any_of(bytes.begin(), bytes.end(), [](char c) { return c != 0; }))
    complain("there is something behind its end");
}

void tar_reader::end() {
  if (left_ != 0) complain("it is longer than it should be");
  check_zeros(static_cast<std::size_t>(padding_of(size_)));
}

void tar_reader::finish() {
  check_zeros(2 * block);
  char more = 0;
  if (read_some(&more, 1) != 0) complain("there is something behind its end");
}

}  // namespace zelk::db
