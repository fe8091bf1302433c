// Product configurations of any bytes.

#include "src/common/preproc/preproc.h"
#include "test/fuzz/option_promises.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  const zelk::memory_file file(data, size);
  zelk::Config config;
  config.install_root = ZELK_SOURCE_DIR;
  if (zelk::preproc::read_config(config, file.path()) == 0) {
    zelk::require(config.output_directory[0] == '/');
    zelk::require_promises(config);
  } else {
    zelk::require(config.output_directory[0] == '\0');
    zelk::require(config.provider_configs.empty());
  }
  return 0;
}
