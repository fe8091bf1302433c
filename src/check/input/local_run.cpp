#include "src/check/input/local_run.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "src/check/input/answers.h"
#include "src/check/input/fact_table.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/facts/declaration.h"
#include "src/common/names/names.h"
#include "src/common/preproc/configuration_file.h"
#include "src/common/preproc/fields.h"
#include "src/common/preproc/preproc.h"
#include "src/common/preproc/written_facts.h"
#include "src/common/str/str.h"
#include "src/common/text/time_text.h"
#include "src/common/util/cmd.h"
#include "src/common/util/errno_text.h"
#include "src/common/xml/query.h"

namespace zelk::check {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::seconds;

// A command that has run into its time-out gets so long to tidy up, and then so
// long to die; less where there is little time for all.
constexpr std::chrono::milliseconds most_grace{500};
constexpr int share_of_grace = 8;

// Nobody starts a program for less.
constexpr std::chrono::milliseconds least_time{50};

constexpr int status_timed_out = 124;
constexpr int status_not_started = -2;

std::string own_name() {
  char name[256] = {};
  if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0')
    return "localhost";
  return name;
}

std::set<std::string> members_of_suite(const std::string& config_file,
                                       const std::string& install_root,
                                       const std::string& name) {
  const xml::unique_doc document = preproc::open_configuration(
      config_file, preproc::configuration_owner::site, install_root);
  std::set<std::string> members;
  if (!document) return members;
  const xmlNode* collect = xml::child(xml::root(*document), "collect");
  for (const xmlNode* suite :
       xml::children(xml::child(collect, "suites"), "suite"))
    if (xml::attribute(suite, "name") == name)
      for (const xmlNode* member : xml::children(suite, "member"))
        members.insert(preproc::text_of(member));
  return members;
}

class local_runner {
 public:
  explicit local_runner(const local_wish& wish)
      : wish_(wish), made_(begun()), facts_(made_) {}

  run_data run();

 private:
  struct provider {
    provider_config description;
    std::shared_ptr<const facts::declaration> by;
  };

  // One option set of a provider, and what came of it.
  struct task {
    std::string name, option, option_id, command;
    std::int32_t version = 1;
    std::int64_t timeout = 0;  // seconds
    std::shared_ptr<const facts::declaration> by;
    std::int64_t given = 0;  // seconds that it had; 0: it was not run
    reading::stored_result result;
    std::string output, errors;
  };

  static run_data begun();
  void read_configuration();
  std::vector<std::string> wanted_descriptions() const;
  bool wants(const preproc::written_facts& of, const std::string& stem) const;
  std::vector<provider> wanted_providers() const;
  clock::duration time_left() const;

  void add_tasks(const provider& one);
  std::int64_t share_of(std::size_t tasks) const;
  void run_task(task& one, std::int64_t share) const;
  void take_in(const task& one);

  const local_wish& wish_;
  Config config_;
  std::set<std::string> heavy_;  // providers that load a node
  run_data made_;
  fact_table facts_;
  std::vector<task> tasks_;
};

run_data local_runner::begun() {
  run_data made;
  made.nodes = {readable(own_name())};
  made.notes.resize(1);
  made.run.state = "complete";
  made.run.started_usec = text::now_usec();
  made.run.nodes_expected = made.run.nodes = 1;
  return made;
}

void local_runner::read_configuration() {
  config_.install_root = wish_.install_root;
  if (wish_.config_file.empty()) return;
  if (preproc::read_config(config_, wish_.config_file) != 0)
    throw reading::refusal("the configuration cannot be used");
  heavy_ =
      members_of_suite(wish_.config_file, wish_.install_root, "performance");
}

bool declares_any(const preproc::written_facts& of,
                  const std::vector<std::string>& wanted) {
  return std::any_of(of.facts.begin(), of.facts.end(), [&](const auto& fact) {
    const auto name = fact.attributes.find("name");
    if (name == fact.attributes.end()) return false;
    const std::string pattern = pattern_of(name->second);
    return std::any_of(wanted.begin(), wanted.end(), [&](const auto& each) {
      return patterns_meet(each, pattern);
    });
  });
}

bool local_runner::wants(const preproc::written_facts& of,
                         const std::string& stem) const {
  return declares_any(of, wish_.facts_by_name) ||
         (!heavy_.contains(stem) && declares_any(of, wish_.facts));
}

std::vector<std::string> local_runner::wanted_descriptions() const {
  const std::string schema =
      wish_.install_root + "/share/zelkara/description.xsd";
  std::vector<std::string> paths;
  std::error_code error;
  for (std::filesystem::directory_iterator each(wish_.descriptions, error), end;
       !error && each != end; each.increment(error))
    if (each->path().extension() == ".xml")
      paths.push_back(each->path().string());
  if (error)
    throw reading::refusal(wish_.descriptions +
                           ": cannot be read: " + error.message());
  std::sort(paths.begin(), paths.end());
  // Those of older versions, NAME.vN.xml, only tell how to read old results.
  std::erase_if(paths, [&](const std::string& path) {
    const std::string stem = std::filesystem::path(path).stem().string();
    if (stem.find(".v") != stem.npos) return true;
    const auto written = preproc::read_written_facts(path, schema);
    return !written || !wants(*written, stem);
  });
  return paths;
}

clock::duration local_runner::time_left() const {
  return wish_.deadline - clock::now();
}

// Whole seconds of what is left, for each of so many tasks; at least one, which
// a limit on all of them makes good.
std::int64_t local_runner::share_of(std::size_t tasks) const {
  const auto share = time_left() / static_cast<std::int64_t>(tasks);
  return std::max<std::int64_t>(
      std::chrono::duration_cast<seconds>(share).count(), 1);
}

void local_runner::run_task(task& one, std::int64_t share) const {
  const std::int64_t limit = std::min(one.timeout, share);
  if (time_left() < least_time || limit <= one.given) return;
  one.given = limit;
  util::cmd child("ZELK_TIMEOUT=" + std::to_string(limit) + " " + one.command,
                  limit);
  child.times.grace = child.times.patience =
      std::min<clock::duration>(most_grace, time_left() / share_of_grace);
  one.result = {};
  if (child.popen3() == 0) {
    one.result.exit_status = child.exit_status;
    one.result.duration = child.duration;
    one.output = child.standard_output.view();
    one.errors = child.standard_error.view();
  } else {
    one.result.exit_status = status_not_started;
    one.errors = util::errno_text(errno);
  }
  one.result.ended_usec = text::now_usec();
}

void local_runner::take_in(const task& one) {
  provider_info& info = made_.providers.emplace_back();
  info.name = one.name;
  info.option_id = one.option_id;
  info.option = one.option;
  info.versions = {one.version};
  info.description = one.by->description();
  facts_.begin(info.name, info.option);
  facts::output_series& series = facts_.series(one.by);
  const facts::numbered_extraction& read =
      series.read(one.output, one.result.exit_status);
  info.answers = {
      answer_of(one.result, read.what, reading::last_line(one.errors))};
  provider_answer& answered = info.answers.front();
  if (one.given == 0)
    answered.reason = "no time was left for it: -t sets the time for all";
  else if (answered.what == answer::timed_out && one.given < one.timeout)
    answered.reason += ", its share of the time for all, which -t sets";
  else if (answered.what == answer::timed_out)
    answered.reason += ", " + limit_words("", one.name, one.option_id);
  made_.run.results_expected += 1;
  made_.run.results += 1;
  const answer what = answered.what;
  if (what == answer::ok || what == answer::incomplete)
    facts_.add(series, read, one.version, {0});
  facts_.end();
}

// One that cannot be read has been told, and is left out.
std::vector<local_runner::provider> local_runner::wanted_providers() const {
  const std::string schema =
      wish_.install_root + "/share/zelkara/description.xsd";
  std::vector<provider> found;
  for (const std::string& path : wanted_descriptions()) {
    provider one;
    const std::string name = std::filesystem::path(path).filename().string();
    one.by = facts::declaration::read(path, schema);
    if (one.by && preproc::Preprocessor::parse_provider_config_xml(
                      one.description, path, config_, name) == 0)
      found.push_back(std::move(one));
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const provider& a, const provider& b) {
                     return a.description.timeout < b.description.timeout;
                   });
  return found;
}

void local_runner::add_tasks(const provider& one) {
  constexpr std::int32_t this_machine = 1, any_machine = 2;
  const provider_config& description = one.description;
  const bool fits = description.architecture == any_machine ||
                    description.architecture == this_machine;
  if (description.min_nodes > 1 || !fits) return;
  auto options =
      preproc::populate_option_vars_map(config_, str::upper(description.name));
  if (options.empty()) options.emplace_back();
  for (const auto& option : options) {
    task& made = tasks_.emplace_back();
    made.name = description.name;
    made.option_id = option.option_id;
    if (options.size() > 1) made.option = option.option_id;
    made.command =
        option.option_text + str::replace(description.command,
                                          "%PROVIDER_AUXILIARY_PATH%",
                                          description.auxiliary_path);
    made.version = description.version;
    made.timeout = option.timeout > 0 ? option.timeout : description.timeout;
    made.by = one.by;
    made.result.exit_status = status_timed_out;
  }
}

run_data local_runner::run() {
  read_configuration();
  for (const provider& each : wanted_providers())
    add_tasks(each);
  for (std::size_t i = 0; i < tasks_.size(); ++i)
    run_task(tasks_[i], share_of(tasks_.size() - i));
  std::vector<task*> stopped;
  for (task& each : tasks_)
    if (each.result.exit_status == status_timed_out) stopped.push_back(&each);
  for (std::size_t i = 0; i < stopped.size(); ++i)
    run_task(*stopped[i], share_of(stopped.size() - i));
  for (const task& each : tasks_)
    take_in(each);
  facts_.finish();
  std::sort(made_.providers.begin(), made_.providers.end(),
            [](const provider_info& a, const provider_info& b) {
              return std::tie(a.name, a.option) < std::tie(b.name, b.option);
            });
  made_.run.ended_usec = text::now_usec();
  return std::move(made_);
}

}  // namespace

std::string pattern_of(std::string_view fact_name) {
  std::string pattern;
  bool inside = false;
  for (const char c : fact_name) {
    if (c == '{') pattern += '*';
    inside = c == '{' || (inside && c != '}');
    if (!inside && c != '}') pattern += c;
  }
  return pattern;
}

bool patterns_meet(std::string_view a, std::string_view b) {
  if (a.empty() && b.empty()) return true;
  if (!a.empty() && a[0] == '*')
    return patterns_meet(a.substr(1), b) ||
           (!b.empty() && patterns_meet(a, b.substr(1)));
  if (!b.empty() && b[0] == '*') return patterns_meet(b, a);
  if (a.empty() || b.empty()) return false;
  const bool same = a[0] == b[0] || a[0] == '?' || b[0] == '?';
  return same && patterns_meet(a.substr(1), b.substr(1));
}

run_data measure_here(const local_wish& wish) {
  return local_runner(wish).run();
}

}  // namespace zelk::check
