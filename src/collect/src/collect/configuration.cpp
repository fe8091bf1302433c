#include "src/collect/src/collect/configuration.h"

#include "src/collect/src/collect/setting_rules.h"
#include "src/common/preproc/fields.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"

namespace zelk::collect {

namespace {

class reader {
 public:
  reader(const std::string& path, collect_settings& settings)
      : path_(path), settings_(settings) {}

  bool read(const xmlNode& zelk);

 private:
  bool apply(const setting_rule& rule, const xmlNode& element);
  bool read_ssh_options(const xmlNode* options);
  void read_suites(const xmlNode* suites);
  std::string place_of(const xmlNode& element) const {
    return path_ + ":" + std::to_string(xml::line_of(element));
  }

  const std::string& path_;
  collect_settings& settings_;
};

// A schema takes "+08" for 8; the rules, which read command lines too, do not.
std::string plain_number(const std::string& text) {
  const auto number = xml::whole_number(text);
  return number ? std::to_string(*number) : text;
}

bool reader::apply(const setting_rule& rule, const xmlNode& element) {
  std::string text = preproc::text_of(&element);
  if (std::string_view(rule.name) != "user") text = plain_number(text);
  const std::string problem =
      apply_setting(settings_, rule, text, place_of(element));
  if (problem.empty()) return true;
  xml::complain(path_, {xml::line_of(element),
                        "in '" + std::string(rule.name) + "': " + problem});
  return false;
}

// The options of the file replace those of one that was read before; those of
// the command line are added.
bool reader::read_ssh_options(const xmlNode* options) {
  if (options == nullptr) return true;
  settings_.ssh_options.clear();
  const setting_rule& rule = *find_rule("ssh_options");
  for (const xmlNode* option : xml::children(options, "ssh_option"))
    if (!apply(rule, *option)) return false;
  return true;
}

void reader::read_suites(const xmlNode* suites) {
  for (const xmlNode* element : xml::children(suites, "suite")) {
    suite made;
    made.where = place_of(*element);
    for (const xmlNode* member : xml::children(element, "member"))
      made.members.push_back({preproc::text_of(member), place_of(*member)});
    settings_.suites[xml::attribute(element, "name").value_or("")] =
        std::move(made);
  }
}

bool reader::read(const xmlNode& zelk) {
  const xmlNode* collect = xml::child(&zelk, "collect");
  for (const setting_rule& rule : setting_rules()) {
    const std::string_view name = rule.name;
    if (name == "ssh_options" || name == "datastore") continue;
    const xmlNode* element = xml::child(collect, name);
    if (element != nullptr && !apply(rule, *element)) return false;
  }
  read_suites(xml::child(collect, "suites"));
  const xmlNode* path = preproc::datastore_path_element(zelk);
  if (path != nullptr && !apply(*find_rule("datastore"), *path)) return false;
  return read_ssh_options(xml::child(collect, "ssh_options"));
}

}  // namespace

bool read_configuration(const std::string& path, configuration_owner owner,
                        collect_settings& settings) {
  const xml::unique_doc document =
      preproc::open_configuration(path, owner, settings.install_root);
  if (!document) return false;
  return reader(path, settings).read(*xml::root(*document));
}

}  // namespace zelk::collect
