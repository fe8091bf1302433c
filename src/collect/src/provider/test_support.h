// Test support: a record with a value in every field, its bytes written down
// independently of the struct, and files in a directory of their own.

#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/provider/result.h"

namespace zelk::testing {

using lines = std::vector<std::string>;

// Removed with all it holds when the scope ends.
class scratch_directory {
 public:
  scratch_directory() {
    path_ = (std::filesystem::temp_directory_path() / "zelk_XXXXXX").string();
    if (::mkdtemp(path_.data()) == nullptr) std::abort();
  }
  scratch_directory(const scratch_directory&) = delete;
  scratch_directory& operator=(const scratch_directory&) = delete;
  ~scratch_directory() { std::filesystem::remove_all(path_); }

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  std::string with_file(const std::string& name, std::string_view text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }
  lines names() const {
    lines found;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      found.push_back(entry.path().filename());
    return found;
  }

 private:
  std::string path_;
};

inline std::string file_content(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

template <typename T>
std::string_view bytes_of(const T& value) {
  return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

inline const std::string example_stdout("one\ntwo\0\xff three", 15);
inline const std::string example_stderr = "oops\n";
inline const std::string example_nodes = "alpha, beta";

inline provider_result example_record() {
  provider_result record;
  provider_result_header& header = record.header;
  header.api = 1;
  header.exit_status = 3;
  std::strcpy(header.name, "memory");
  header.encoding = 2;
  header.timestamp_sec = 1489412345;
  header.timestamp_usec = 5000;
  header.duration = 1.25;
  std::strcpy(header.hostname, "node07");
  std::strcpy(header.host_arg, "n7.cluster");
  std::strcpy(header.username, "operator");
  header.nodes_csv_size = static_cast<std::int64_t>(example_nodes.size());
  header.num_nodes = 2;
  header.stdout_size = static_cast<std::int64_t>(example_stdout.size());
  header.stderr_size = static_cast<std::int64_t>(example_stderr.size());
  std::strcpy(header.option_id, "quick");
  header.version = -7;
  record.stdout = util::byte_buffer(example_stdout);
  record.stderr = util::byte_buffer(example_stderr);
  record.nodes_csv = example_nodes;
  return record;
}

// Puts the lowest `size` bytes of `value` at `offset`, the lowest first.
inline void put_number(std::string& image, std::size_t offset, std::size_t size,
                       std::uint64_t value) {
  for (std::size_t i = 0; i < size; ++i)
    image[offset + i] = static_cast<char>(value >> (8 * i));
}

// The header of example_record(), from the table of the format.
inline std::string example_header_image() {
  std::string image(736, '\0');
  put_number(image, 0, 1, 1);
  put_number(image, 4, 4, 3);
  image.replace(8, 6, "memory");
  put_number(image, 72, 4, 2);
  put_number(image, 80, 8, 1489412345);
  put_number(image, 88, 8, 5000);
  put_number(image, 96, 8, 0x3ff4000000000000);  // 1.25
  image.replace(104, 6, "node07");
  image.replace(359, 10, "n7.cluster");
  image.replace(614, 8, "operator");
  put_number(image, 624, 8, 11);
  put_number(image, 632, 2, 2);
  put_number(image, 640, 8, 15);
  put_number(image, 648, 8, 5);
  image.replace(656, 5, "quick");
  put_number(image, 716, 4, 0xfffffff9);  // -7
  return image;
}

inline std::string example_image() {
  return example_header_image() + example_stdout + example_stderr +
         example_nodes;
}

// Returns whether every byte of both is the same.
inline bool same(const provider_result& a, const provider_result& b) {
  return bytes_of(a.header) == bytes_of(b.header) && a.stdout == b.stdout &&
         a.stderr == b.stderr && a.nodes_csv == b.nodes_csv;
}

}  // namespace zelk::testing
