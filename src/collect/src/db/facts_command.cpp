#include "src/collect/src/db/facts_command.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/db/fact_printer.h"
#include "src/collect/src/db/node_sets.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_facts.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/facts/description_set.h"
#include "src/common/node/install_root.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::run;

std::string schema_path(const facts_options& options) {
  return options.schema.empty()
             ? node::get_default_path() + "/share/zelkara/description.xsd"
             : options.schema;
}

std::string descriptions_folder(const facts_options& options) {
  return options.descriptions.empty()
             ? node::get_default_path() + "/etc/providers"
             : options.descriptions;
}

// Prints what is asked for and counts all of it.
class shower {
 public:
  explicit shower(const facts_options& options) : options_(options) {}

  void show(const reading::result_facts& of) {
    for (const facts::fact& one : of.facts->facts)
      if (wanted(one.name)) show_fact(of, one);
    for (const facts::unread_fact& one : of.facts->unread)
      if (one.name == facts::whole_output || wanted(one.name))
        show_unread(of, one);
  }

  int finish() {
    printer().end();
    std::cout.flush();
    if (unread_ > 0 && !options_.unread && !options_.quiet)
      std::cerr << fmt::format(
          "zelk-db: {} {} of {} {} could not be read; --unread lists them\n",
          unread_, unread_ == 1 ? "fact" : "facts", silent_.size(),
          silent_.size() == 1 ? "node" : "nodes");
    if (unread_ == 0) return accumulate::exit_fine;
    return facts_ > 0 ? accumulate::exit_partial : accumulate::exit_nothing;
  }

  bool nothing() const { return facts_ == 0 && unread_ == 0; }

 private:
  // Made when there is something to print: it begins with a head.
  fact_printer& printer() {
    if (!printer_)
      printer_ = make_fact_printer(options_.form, options_.unread, std::cout);
    return *printer_;
  }

  bool wanted(const std::string& name) const {
    return options_.names.empty() ||
           std::any_of(options_.names.begin(), options_.names.end(),
                       [&](const std::string& pattern) {
                         return ::fnmatch(pattern.c_str(), name.c_str(), 0) ==
                                0;
                       });
  }

  void show_fact(const reading::result_facts& of, const facts::fact& one) {
    ++facts_;
    if (!options_.unread) printer().fact(of, one);
  }

  void show_unread(const reading::result_facts& of,
                   const facts::unread_fact& one) {
    ++unread_;
    silent_.insert(of.node);
    if (options_.unread || options_.form == "json") printer().unread(of, one);
  }

  const facts_options& options_;
  std::unique_ptr<fact_printer> printer_;
  std::size_t facts_ = 0;
  std::size_t unread_ = 0;
  std::set<std::string> silent_;  // nodes with an unread fact
};

[[noreturn]] void refuse_nothing(const run& of, const facts_options& options) {
  std::string text = fmt::format("Run {} has no result", of.number);
  if (!options.providers.empty())
    text += " of the provider '" +
            text::visible_text(options.providers.front()) +
            (options.providers.size() > 1 ? "' or the others" : "'");
  if (!options.nodes.empty()) text += " of these nodes";
  throw reading::refusal(text);
}

// Why there is nothing to show although there are results.
[[noreturn]] void fail_without_facts(const reading::facts_tally& tally,
                                     const facts_options& options) {
  if (!options.names.empty())
    throw reading::failure(
        "No fact is called '" + text::visible_text(options.names.front()) +
        (options.names.size() > 1 ? "' or the others" : "'"));
  throw reading::failure(fmt::format(
      "The descriptions in {} say of none of the {} results what facts are in "
      "it",
      descriptions_folder(options), tally.results));
}

int show_of_run(const reading::place& where, const facts_options& options) {
  datastore::database base = reading::open_to_read(where);
  const run of = reading::select_run(base, options.run);
  const facts::description_set descriptions(descriptions_folder(options),
                                            schema_path(options));
  reading::result_choice choice;
  choice.run = of.number;
  const std::vector<std::string> nodes = names_of_sets(options.nodes);
  choice.nodes = {nodes.begin(), nodes.end()};
  choice.providers.insert(options.providers.begin(), options.providers.end());
  shower show(options);
  const reading::facts_tally tally = reading::for_each_facts(
      base, choice, descriptions,
      [&](const reading::result_facts& found) { show.show(found); });
  if (tally.results == 0) refuse_nothing(of, options);
  // Where nothing was applicable there is nothing to say, and that is fine.
  if (show.nothing() &&
      (tally.undeclared == tally.results || !options.names.empty()))
    fail_without_facts(tally, options);
  return show.finish();
}

std::string content_of(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    throw reading::refusal("Unable to read '" + text::visible_text(path) +
                           "': " + std::strerror(errno));
  return {std::istreambuf_iterator<char>(in), {}};
}

// "memory" is a description of the folder, anything with a slash or an ending
// the file itself.
std::string description_path(const facts_options& options) {
  const std::string& name = options.providers.front();
  if (name.find('/') != name.npos || name.ends_with(".xml")) return name;
  return descriptions_folder(options) + "/" + name + ".xml";
}

int show_of_file(const facts_options& options) {
  if (options.providers.size() != 1)
    throw reading::refusal(
        "--from-file needs one --provider, a name or a description");
  const auto by =
      facts::declaration::read(description_path(options), schema_path(options));
  if (!by) throw reading::refusal("The description cannot be used");
  if (!by->declares())
    throw reading::failure(by->path() + " says nothing about facts");
  shower show(options);
  show.show({"-", by->provider(), "-",
             std::make_shared<const facts::extraction>(by->read_output(
                 content_of(options.from_file), options.exit_status))});
  return show.finish();
}

}  // namespace

int show_facts(const reading::place& where, const facts_options& options) {
  return options.from_file.empty() ? show_of_run(where, options)
                                   : show_of_file(options);
}

}  // namespace zelk::db
