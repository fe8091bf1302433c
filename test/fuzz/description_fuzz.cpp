// Provider descriptions of any bytes.

#include "src/common/preproc/preproc.h"
#include "test/fuzz/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  const zelk::memory_file file(data, size);
  zelk::Config config;
  config.install_root = ZELK_SOURCE_DIR;
  zelk::provider_config description;
  if (zelk::preproc::Preprocessor::parse_provider_config_xml(
          description, file.path(), config, "memory.xml") != 0)
    return 0;
  zelk::require(!description.name.empty() && !description.command.empty());
  zelk::require(description.auxiliary_path.starts_with('/'));
  zelk::require(description.architecture >= 0 && description.architecture <= 2);
  return 0;
}
