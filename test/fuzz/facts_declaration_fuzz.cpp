// Descriptions of any bytes, as far as their facts go, and what they then read
// in one output.

#include <string>

#include "src/common/facts/declaration.h"
#include "src/common/facts/output_text.h"
#include "test/fuzz/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  const zelk::memory_file file(data, size);
  const auto by = zelk::facts::declaration::read(
      file.path(), ZELK_SOURCE_DIR "/share/zelkara/description.xsd");
  if (!by) return 0;
  const zelk::facts::extraction all = by->read_output(
      "/proc/meminfo: MemTotal:  49368200 kB\nuname.release: 6.1\n"
      "a=b\n{\"a\": [1, {\"b\": \"c\"}]}\nunreadable: /a: no\n",
      0);
  for (const zelk::facts::fact& each : all.facts)
    zelk::require(zelk::facts::is_utf8(each.name));
  return 0;
}
