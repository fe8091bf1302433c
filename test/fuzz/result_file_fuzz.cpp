// A result file from anywhere: either it is refused and the record stays as it
// was, or the record holds exactly the bytes of the file.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/collect/src/provider/output_file.h"

namespace {

std::string image_of(const zelk::provider_result& record) {
  std::string image(reinterpret_cast<const char*>(&record.header),
                    sizeof(record.header));
  image += record.stdout.view();
  image += record.stderr.view();
  return image + record.nodes_csv;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  zelk::provider_result record;
  const bool taken = zelk::parse_result_file(content, record).empty();
  const std::string expected =
      taken ? std::string(content) : image_of(zelk::provider_result());
  if (image_of(record) != expected) std::abort();
  return 0;
}
