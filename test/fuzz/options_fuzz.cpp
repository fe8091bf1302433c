// Provider options files of any bytes, merged over options that are there.

#include <memory>

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include "src/common/preproc/preproc.h"
#include "src/common/xml/xml.h"
#include "test/fuzz/option_promises.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  const zelk::memory_file file(data, size);
  xmlDoc* opened = nullptr;
  if (!zelk::xml::open_and_validate(
          file.path(), ZELK_SOURCE_DIR "/provider/provider.xsd", opened))
    return 0;
  const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(opened, xmlFreeDoc);
  const bool valid = zelk::preproc::provider_options_valid(opened, file.path());

  zelk::Config config;
  auto& provider = config.provider_configs["STREAM"];
  provider = std::make_shared<zelk::provider_config>();
  provider->option_sets.resize(2);
  provider->option_sets[0].option_id = "quick";
  xmlXPathContext* context = xmlXPathNewContext(opened);
  zelk::preproc::update_provider_options(config, context);
  xmlXPathFreeContext(context);

  zelk::require_promises(config);
  const auto sets = zelk::preproc::populate_option_vars_map(config, "STREAM");
  zelk::require(sets.size() >= 2 && sets[0].option_id == "quick");
  zelk::require(valid || (config.provider_configs.size() == 1 &&
                          sets.size() == 2 && sets[0].option_text.empty()));
  return 0;
}
