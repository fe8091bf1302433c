#include "src/common/preproc/provider_options.h"

#include <cstddef>

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include "src/common/preproc/fields.h"
#include "src/common/preproc/preproc.h"
#include "src/common/str/str.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/query.h"

namespace zelk::preproc {

namespace {

using option_sets = std::vector<ProcessedProviderAttributes>;

// The field of the result record without its terminator.
constexpr std::size_t longest_option_id = 59;  // bytes

bool refuse(const xmlNode& at, const std::string& path, std::string why) {
  xml::complain(path, {xml::line_of(at), std::move(why)});
  return false;
}

std::string name_of(const xmlNode& element) {
  return xml::attribute(&element, "name").value_or("");
}

std::string option_text(const xmlNode& option) {
  std::string text;
  for (const xmlNode* variable : xml::children(&option, "variable"))
    text +=
        name_of(*variable) + "=" + shell_quoted(xml::content(*variable)) + " ";
  return text;
}

bool read_option(const xmlNode& option, const std::string& path,
                 ProcessedProviderAttributes& set) {
  set.option_id = xml::attribute(&option, "id").value_or("");
  if (set.option_id.size() > longest_option_id)
    return refuse(
        option, path,
        "expected in 'id' of 'option': 1 to 59 bytes of text; found " +
            std::to_string(set.option_id.size()) + " bytes");
  const auto timeout = xml::attribute(&option, "timeout");
  if (!timeout && xml::attribute(&option, "scale"))
    return refuse(
        option, path,
        "expected in 'option' the attribute 'timeout' beside 'scale'");
  if (!read_number(timeout, option, path, set.timeout)) return false;
  set.scale_type = scale_of(&option);
  set.option_text = option_text(option);
  return true;
}

bool read_provider(const xmlNode& provider, const std::string& path,
                   provider_config& config) {
  for (const xmlNode* option : xml::children(&provider, "option")) {
    ProcessedProviderAttributes set;
    set.provider_name = name_of(provider);
    if (!read_option(*option, path, set)) return false;
    config.option_sets.push_back(std::move(set));
  }
  return true;
}

option_sets merged(option_sets sets, const option_sets& over) {
  std::unordered_map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < sets.size(); ++i)
    places.emplace(sets[i].option_id, i);
  for (const ProcessedProviderAttributes& set : over) {
    const auto [place, added] = places.emplace(set.option_id, sets.size());
    if (added)
      sets.push_back(set);
    else
      sets[place->second] = set;
  }
  return sets;
}

// A copy of a Config shares its entries, so an entry is replaced, not changed.
void merge(std::shared_ptr<provider_config>& entry,
           const provider_config& over) {
  auto result = entry ? std::make_shared<provider_config>(*entry)
                      : std::make_shared<provider_config>();
  result->option_sets =
      merged(std::move(result->option_sets), over.option_sets);
  entry = std::move(result);
}

// The library keeps the path as a URI, with %20 for a blank.
std::string path_of(const xmlDoc& document) {
  if (document.URL == nullptr) return "provider options";
  return reinterpret_cast<const char*>(document.URL);
}

}  // namespace

bool read_provider_options(const xmlNode* provider_options,
                           const std::string& path, option_table& table) {
  for (const xmlNode* provider : xml::children(provider_options, "provider")) {
    const std::string name = name_of(*provider);
    const auto [entry, added] =
        table.emplace(str::upper(name), std::make_shared<provider_config>());
    if (!added)
      return refuse(*provider, path,
                    "expected in 'provider': a name that no other provider "
                    "has, in upper or lower case; found '" +
                        xml::excerpt(name) + "' again");
    if (!read_provider(*provider, path, *entry->second)) return false;
  }
  return true;
}

bool provider_options_valid(const xmlDoc* document, const std::string& path) {
  option_table table;
  return read_provider_options(xml::root(*document), path, table);
}

void merge_options(Config& config, const option_table& over) {
  for (const auto& [key, provider] : over)
    merge(config.provider_configs[key], *provider);
}

void update_provider_options(Config& config, xmlXPathContext*& context) {
  option_table table;
  const xmlDoc& document = *context->doc;
  if (!read_provider_options(xml::root(document), path_of(document), table))
    return;
  merge_options(config, table);
}

std::vector<ProcessedProviderAttributes> populate_option_vars_map(
    const Config& config, const std::string& key) {
  const auto entry = config.provider_configs.find(key);
  if (entry == config.provider_configs.end() || !entry->second) return {};
  return entry->second->option_sets;
}

}  // namespace zelk::preproc
