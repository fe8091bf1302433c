#include "src/common/preproc/fields.h"
#include "src/common/preproc/preproc.h"
#include "src/common/str/str.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::preproc {

namespace {

constexpr std::int32_t parse_failed = 1;

// What the check of the machine knows.
enum architecture : std::int32_t {
  no_machine = 0,
  x86_64 = 1,
  any_machine = 2
};

std::int32_t architecture_of(const xmlNode* requires_element) {
  const std::string name =
      xml::attribute(requires_element, "architecture").value_or("any");
  if (name == "any") return any_machine;
  return name == "x86_64" ? x86_64 : no_machine;
}

// The extension is cut by its length alone, as the driver cuts it.
std::string file_stem(const std::string& path) {
  constexpr std::size_t extension_bytes = 4;
  std::string base = str::basename(path);
  if (base.size() <= extension_bytes) return base;
  return base.substr(0, base.size() - extension_bytes);
}

std::string absolute_auxiliary_path(const std::string& path,
                                    const std::string& name,
                                    const Config& config) {
  if (path.starts_with('/')) return path;
  return config.install_root + "/provider/share/" +
         (path.empty() ? name : path);
}

bool read_numbers(const xmlNode& provider, const std::string& path,
                  provider_config& description) {
  if (!read_number(xml::attribute(&provider, "version"), provider, path,
                   description.version))
    return false;
  if (const xmlNode* timeout = xml::child(&provider, "timeout"))
    if (!read_number(std::optional(text_of(timeout)), *timeout, path,
                     description.timeout))
      return false;
  const xmlNode* needs = xml::child(&provider, "requires");
  if (needs == nullptr) return true;
  return read_number(xml::attribute(needs, "min_nodes"), *needs, path,
                     description.min_nodes) &&
         read_number(xml::attribute(needs, "max_nodes"), *needs, path,
                     description.max_nodes);
}

// Whatever the record held before, a field that the file does not give has its
// default behind this.
void set_defaults(provider_config& description) {
  const provider_config fresh;
  description.version = fresh.version;
  description.timeout = fresh.timeout;
  description.min_nodes = fresh.min_nodes;
  description.max_nodes = fresh.max_nodes;
}

bool read_provider(const xmlNode& provider, const std::string& path,
                   const Config& config, const std::string& entry,
                   provider_config& description) {
  set_defaults(description);
  description.name =
      xml::attribute(&provider, "name").value_or(file_stem(entry));
  description.command = text_of(xml::child(&provider, "command"));
  description.auxiliary_path =
      absolute_auxiliary_path(text_of(xml::child(&provider, "auxiliary_path")),
                              description.name, config);
  description.encoding = named(provider::encoding_names,
                               text_of(xml::child(&provider, "encoding")),
                               provider::encoding::NONE);
  description.scale_type = scale_of(xml::child(&provider, "timeout"));
  description.architecture = architecture_of(xml::child(&provider, "requires"));
  return read_numbers(provider, path, description);
}

}  // namespace

std::int32_t Preprocessor::parse_provider_config_xml(
    provider_config& description, const std::string& path, const Config& config,
    const std::string& entry) {
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(
          path, config.install_root + "/share/zelkara/description.xsd", opened))
    return parse_failed;
  const xml::unique_doc document(opened);
  return read_provider(*xml::root(*document), path, config, entry, description)
             ? 0
             : parse_failed;
}

}  // namespace zelk::preproc
