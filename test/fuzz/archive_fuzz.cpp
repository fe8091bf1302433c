// An exported file from a stranger: it is read to its end or refused by an
// archive_error that says why, and no record is longer than the limit.

#include <fcntl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/archive_reader.h"
#include "src/common/util/unique_fd.h"
#include "test/fuzz/memory_file.h"

namespace {

constexpr std::size_t max_record = std::size_t{1} << 16;

class strict_visitor : public zelk::db::archive_visitor {
 public:
  void result(zelk::provider_result& result) override {
    zelk::require(result.stdout.view().size() + result.stderr.view().size() +
                      result.nodes_csv.size() <=
                  max_record);
  }
};

void read(int fd) {
  strict_visitor visitor;
  try {
    zelk::db::read_archive(fd, max_record, visitor);
  } catch (const zelk::db::archive_error& error) {
    zelk::require(!std::string_view(error.what()).empty());
  }
}

std::string little_endian(std::size_t value, int bytes) {
  std::string result;
  for (int i = 0; i < bytes; ++i)
    result += static_cast<char>(value >> (8 * i) & 0xff);
  return result;
}

// A zstd frame of stored blocks (RFC 8878): made in no time, which a compressor
// is not.
std::string stored_frame(std::string_view content) {
  constexpr std::size_t longest_block = 128 << 10;
  constexpr char single_segment_size_of_4_bytes = '\xa0';
  std::string frame = little_endian(0xfd2fb528, 4);
  frame += single_segment_size_of_4_bytes + little_endian(content.size(), 4);
  do {
    const std::string_view block = content.substr(0, longest_block);
    content.remove_prefix(block.size());
    const std::size_t last = content.empty() ? 1 : 0;
    frame += little_endian(block.size() << 3 | last, 3).append(block);
  } while (!content.empty());
  return frame;
}

}  // namespace

// Mutated bytes are hardly ever a valid frame of the compressor: what the first
// byte marks as plain is put into one here, so that the tar and text layers are
// reached.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1,
                               size - 1);
  const std::string file =
      data[0] == 'p' ? stored_frame(input) : std::string(input);
  const zelk::memory_file held(
      reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
  const zelk::util::unique_fd fd(
      ::open(held.path().c_str(), O_RDONLY | O_CLOEXEC));
  read(fd.get());
  return 0;
}
