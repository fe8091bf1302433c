#include "src/collect/src/collect/suites.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "src/common/str/nearest_word.h"
#include "src/common/str/str.h"
#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

constexpr char default_suite[] = "default";
constexpr char all_suite[] = "all";
constexpr char performance_suite[] = "performance";

struct choice_problem {
  std::string text;
};

class chooser {
 public:
  chooser(const collect_settings& settings, catalogue& descriptions)
      : settings_(settings), descriptions_(descriptions) {}

  std::vector<planned_provider> choose();
  // Leaves out what is to be skipped, before any description is read for it.
  void skip();
  // The stems that `word` stands for. `where` is "" for the command line's.
  std::set<std::string> stems_of(const std::string& word,
                                 const std::string& where);

 private:
  std::set<std::string> stems_of_suite(const std::string& name,
                                       const std::string& where);
  std::set<std::string> default_stems();
  std::string stem_of_name(const std::string& name, const std::string& where);
  bool is_performance(const std::string& stem);
  void add_file(const std::string& path);
  void add(const std::string& stem, const std::string& path);
  const planned_provider& read(const std::string& path);
  std::vector<planned_provider> read_chosen();

  const collect_settings& settings_;
  catalogue& descriptions_;
  std::map<std::string, std::string> chosen_;  // stem -> path
  std::set<std::string> skipped_;
  std::vector<std::string> open_suites_;  // one inside the other
};

[[noreturn]] void refuse(const std::string& where, const std::string& text) {
  throw choice_problem{where.empty() ? text : where + ": " + text};
}

const planned_provider& chooser::read(const std::string& path) {
  const planned_provider* made = descriptions_.read(path);
  if (made == nullptr)
    refuse("", "the provider description '" + path +
                   "' cannot be used; '--skip " + catalogue::stem_of(path) +
                   "' leaves it out");
  return *made;
}

// People know a provider by the name of its file, or by the one that its
// results carry.
std::string chooser::stem_of_name(const std::string& name,
                                  const std::string& where) {
  const std::vector<std::string> names = descriptions_.names();
  if (!descriptions_.path_of(name).empty()) return name;
  for (const std::string& stem : names)
    if (str::upper(stem) == str::upper(name)) return stem;
  for (const std::string& path : settings_.provider_files)
    if (catalogue::stem_of(path) == name) return name;
  for (const std::string& stem : names) {
    const planned_provider* one =
        descriptions_.read(descriptions_.path_of(stem));
    if (one != nullptr && one->name == name) return stem;
  }
  std::string hint = str::did_you_mean(name, names);
  if (settings_.suites.contains(name) || name == default_suite ||
      name == all_suite)
    hint = "; the suite is '@" + name + "'";
  refuse(where, "there is no provider '" + name + "'" + hint);
}

bool chooser::is_performance(const std::string& stem) {
  if (!settings_.suites.contains(performance_suite)) return false;
  return stems_of_suite(performance_suite, "").contains(stem);
}

std::set<std::string> chooser::default_stems() {
  std::set<std::string> stems;
  for (const std::string& stem : descriptions_.names())
    if (!skipped_.contains(stem) && !is_performance(stem) &&
        !read(descriptions_.path_of(stem)).cluster)
      stems.insert(stem);
  return stems;
}

std::set<std::string> chooser::stems_of_suite(const std::string& name,
                                              const std::string& where) {
  const auto found = settings_.suites.find(name);
  if (found == settings_.suites.end()) {
    if (name == default_suite) return default_stems();
    const std::vector<std::string> all = descriptions_.names();
    if (name == all_suite) return {all.begin(), all.end()};
    refuse(where, "there is no suite '@" + name + "'" +
                      str::did_you_mean("@" + name, suite_names(settings_)));
  }
  if (std::count(open_suites_.begin(), open_suites_.end(), name) != 0)
    refuse(found->second.where, "the suite '@" + name + "' holds itself");
  open_suites_.push_back(name);
  std::set<std::string> stems;
  for (const suite::member& member : found->second.members)
    stems.merge(stems_of(member.name, member.where));
  open_suites_.pop_back();
  return stems;
}

std::set<std::string> chooser::stems_of(const std::string& word,
                                        const std::string& where) {
  if (word.starts_with('@')) return stems_of_suite(word.substr(1), where);
  return {stem_of_name(word, where)};
}

void chooser::add(const std::string& stem, const std::string& path) {
  const auto [place, is_new] = chosen_.emplace(stem, path);
  if (!is_new && place->second != path)
    refuse("", "two descriptions have the name '" + stem + "': '" +
                   place->second + "' and '" + path + "'");
}

bool is_number(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return c >= '0' && c <= '9';
  });
}

void chooser::add_file(const std::string& path) {
  const std::string complaint =
      "cannot read provider description '" + path + "'";
  if (::access(path.c_str(), R_OK) != 0) {
    const int code = errno;
    // The -f of other tools that do the same on many nodes.
    if (is_number(path))
      refuse("", complaint + "; for " + path +
                     " connections at once use --fanout " + path);
    refuse("", complaint + " " + util::errno_text(code));
  }
  const std::string stem = catalogue::stem_of(path);
  if (stem.empty())
    refuse("", complaint + ": expected a file name like NAME.xml");
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(path, error);
  add(stem, error ? path : whole.string());
}

std::vector<planned_provider> chooser::read_chosen() {
  std::vector<planned_provider> all;
  std::map<std::string, std::string> paths;  // by the name of the results
  for (const auto& [stem, path] : chosen_) {
    if (skipped_.contains(stem)) continue;
    all.push_back(read(path));
    const auto [place, is_new] = paths.emplace(all.back().name, path);
    if (!is_new)
      refuse("", "the results of two providers would have the name '" +
                     place->first + "': '" + place->second + "' and '" + path +
                     "'");
  }
  return all;
}

void chooser::skip() {
  std::set<std::string> skipped;
  for (const std::string& word : settings_.skipped)
    skipped.merge(stems_of(word, ""));
  skipped_ = std::move(skipped);
}

std::vector<planned_provider> chooser::choose() {
  skip();
  for (const std::string& path : settings_.provider_files)
    add_file(path);
  std::vector<std::string> wanted = settings_.wanted;
  if (wanted.empty() && chosen_.empty())
    wanted.push_back(std::string("@") + default_suite);
  for (const std::string& word : wanted)
    for (const std::string& stem : stems_of(word, ""))
      // The one that was given by its path, if there is one, is meant.
      if (!chosen_.contains(stem) || !descriptions_.path_of(stem).empty())
        add(stem, descriptions_.path_of(stem));
  std::vector<planned_provider> all = read_chosen();
  if (all.empty()) refuse("", "there is no provider to run");
  return all;
}

}  // namespace

chosen_providers choose_providers(const collect_settings& settings,
                                  catalogue& descriptions) {
  try {
    return {chooser(settings, descriptions).choose(), ""};
  } catch (const choice_problem& problem) {
    return {{}, problem.text};
  }
}

suite_content content_of_suite(const std::string& name,
                               const collect_settings& settings,
                               catalogue& descriptions) {
  try {
    chooser one(settings, descriptions);
    one.skip();
    const std::set<std::string> stems = one.stems_of("@" + name, "");
    return {{stems.begin(), stems.end()}, ""};
  } catch (const choice_problem& problem) {
    return {{}, problem.text};
  }
}

std::vector<std::string> suite_names(const collect_settings& settings) {
  std::set<std::string> names = {std::string("@") + default_suite,
                                 std::string("@") + all_suite};
  for (const auto& [name, content] : settings.suites)
    names.insert("@" + name);
  return {names.begin(), names.end()};
}

}  // namespace zelk::collect
