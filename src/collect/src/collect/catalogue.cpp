#include "src/collect/src/collect/catalogue.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "src/collect/src/utils/scale_timeout.h"
#include "src/common/preproc/fields.h"
#include "src/common/preproc/preproc.h"
#include "src/common/preproc/provider_options.h"
#include "src/common/str/str.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::collect {

namespace {

// The field of the result record.
constexpr std::size_t longest_provider_name = 63;  // bytes

// No run takes so long, and sums of it stay far from the end of the type.
constexpr std::int64_t longest_timeout_sec = 10LL * 365 * 86'400;

std::string shown_scale(ScaleType scale) {
  for (const auto& [name, type] : scale_type_names)
    if (type == scale) return name;
  return "constant";
}

std::chrono::seconds bounded_timeout(std::int64_t base_sec, int nodes,
                                     ScaleType scale) {
  return std::chrono::seconds(
      std::min(scale_timeout(base_sec, nodes, scale), longest_timeout_sec));
}

// "memory.v2": an older description, kept to read results that it gave.
bool is_kept_version(const std::string& stem) {
  const std::size_t dot = stem.rfind(".v");
  return dot != std::string::npos && dot + 2 < stem.size() &&
         stem.find_first_not_of("0123456789", dot + 2) == std::string::npos;
}

}  // namespace

catalogue::catalogue(const collect_settings& settings) : settings_(settings) {
  config_.install_root = settings.install_root;
  const std::string folder = settings.install_root + "/etc/providers/";
  std::error_code error;
  for (std::filesystem::directory_iterator i(folder, error), end;
       !error && i != end; i.increment(error)) {
    const std::string name = i->path().filename();
    if (!name.ends_with(".xml") || name.starts_with('.')) continue;
    const std::string stem = stem_of(name);
    if (!stem.empty() && !is_kept_version(stem))
      installed_[stem] = folder + name;
  }
}

std::string catalogue::stem_of(const std::string& path) {
  constexpr std::size_t extension = 4;  // bytes of ".xml"
  std::string base = str::basename(path);
  if (base.size() <= extension) return "";
  base.resize(base.size() - extension);
  return base;
}

bool catalogue::read_options() {
  if (preproc::read_config(config_, settings_.config_file) != 0) return false;
  const std::string& path = settings_.provider_options_file;
  if (path.empty()) return true;
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(
          path, settings_.install_root + "/provider/provider.xsd", opened))
    return false;
  const xml::unique_doc document(opened);
  preproc::option_table table;
  if (!preproc::read_provider_options(xml::root(*document), path, table))
    return false;
  preproc::merge_options(config_, table);
  return true;
}

std::vector<std::string> catalogue::names() const {
  std::vector<std::string> all;
  for (const auto& [stem, path] : installed_)
    all.push_back(stem);
  return all;
}

std::string catalogue::path_of(const std::string& stem) const {
  const auto found = installed_.find(stem);
  return found == installed_.end() ? "" : found->second;
}

void catalogue::set_options(planned_provider& provider) const {
  for (const auto& set :
       preproc::populate_option_vars_map(config_, str::upper(provider.stem)))
    provider.options.push_back(
        {set.option_id,
         {},
         set.option_text,
         set.timeout,
         set.timeout == 0 ? "" : shown_scale(set.scale_type)});
  if (provider.options.empty())
    provider.options.push_back({"None", {}, "", 0, ""});
}

std::optional<planned_provider> catalogue::parsed(
    const std::string& path) const {
  provider_config config;
  if (preproc::Preprocessor::parse_provider_config_xml(config, path, config_,
                                                       path) != 0)
    return {};
  // What only people and the plan want to know stands beside it in the file.
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(
          path, settings_.install_root + "/share/zelkara/description.xsd",
          opened))
    return {};
  const xml::unique_doc document(opened);
  const xmlNode* root = xml::root(*document);

  planned_provider made;
  made.stem = stem_of(path);
  made.path = path;
  made.name = config.name.substr(0, longest_provider_name);
  made.version = config.version;
  made.min_nodes = config.min_nodes;
  made.max_nodes = config.max_nodes;
  // The worker goes by this alone: with a minimum of 1 it gives no node file.
  made.cluster = config.min_nodes != 1;
  made.architecture =
      xml::attribute(xml::child(root, "requires"), "architecture")
          .value_or("any");
  made.description = preproc::text_of(xml::child(root, "description"));
  made.command = config.command;
  made.auxiliary_path = config.auxiliary_path;
  made.timeout_sec = config.timeout;
  made.scale = shown_scale(config.scale_type);
  made.plugin = xml::attribute(xml::child(root, "facts"), "format") == "nagios";
  set_options(made);
  return scaled(std::move(made), 1);
}

const planned_provider* catalogue::read(const std::string& path) {
  const auto known = read_.find(path);
  if (known != read_.end()) return known->second.get();
  std::optional<planned_provider> made = parsed(path);
  std::unique_ptr<planned_provider>& place = read_[path];
  if (made) place = std::make_unique<planned_provider>(std::move(*made));
  return place.get();
}

planned_provider catalogue::scaled(planned_provider provider, int nodes) const {
  for (option_set& set : provider.options) {
    const bool own = set.timeout_sec != 0;
    set.timeout =
        bounded_timeout(own ? set.timeout_sec : provider.timeout_sec, nodes,
                        scale_type_names.at(own ? set.scale : provider.scale));
    if (settings_.timeout) set.timeout = *settings_.timeout;
  }
  return provider;
}

}  // namespace zelk::collect
