#include "src/collect/src/collect/session_parts.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <system_error>

#include "src/collect/src/collect/exit_codes.h"
#include "src/collect/src/collect/reachable_address.h"
#include "src/common/names/version.h"
#include "src/common/node/install_root.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

constexpr char worker_name[] = "zelk_run_provider";
constexpr std::chrono::milliseconds look_up_limit{10'000};
// sockaddr_un holds 108 bytes of a path.
constexpr std::size_t longest_socket_path = 100;
constexpr std::size_t longest_note = 2000;  // bytes

std::vector<std::string> names_of(const plan& made) {
  std::vector<std::string> names;
  names.reserve(made.nodes.size());
  for (const selected_node& node : made.nodes)
    names.push_back(node.name);
  return names;
}

run_endpoint private_endpoint() {
  const char* const given = std::getenv("TMPDIR");
  std::string folder =
      given == nullptr || *given == '\0' ? std::string("/tmp") : given;
  constexpr std::string_view name = "/zelk-collect.XXXXXX";
  if (folder.size() + name.size() > longest_socket_path) folder = "/tmp";
  folder += name;
  if (::mkdtemp(folder.data()) == nullptr)
    return {"", "", nullptr,
            "cannot make the folder " + folder + " " + util::errno_text(errno)};
  return {"ipc://" + folder + "/results", "",
          std::make_shared<private_folder>(folder), ""};
}

run_endpoint public_endpoint(const endpoint_plan& found) {
  return {found.bind, found.host, nullptr, found.problem};
}

// Whether the nodes' own configuration may say something else than the plan.
bool wants_configuration(const collect_settings& settings) {
  return settings.timeout || !settings.provider_options_file.empty() ||
         (settings.async && !settings.shared_directory.empty()) ||
         settings.config_file != settings.install_root + "/etc/zelk.xml";
}

}  // namespace

std::string own_program(std::string_view name) {
  static const std::string root = node::get_default_path();
  return root + "/bin/" + std::string(name);
}

bool program_is_here(std::string_view name) {
  return ::access(own_program(name).c_str(), X_OK) == 0;
}

private_folder::~private_folder() {
  std::error_code ignored;  // a folder in /tmp that stays costs nothing
  std::filesystem::remove_all(path_, ignored);
}

run_endpoint find_endpoint(const collect_settings& settings, const plan& made) {
  if (settings.launcher == "local" || settings.async) return private_endpoint();
  if (!settings.address.empty())
    return public_endpoint(endpoint_typed(settings.address));
  const reachable_address found =
      find_reachable_address(names_of(made), look_up_limit);
  if (!found.problem.empty()) return {"", "", nullptr, found.problem};
  return public_endpoint(endpoint_for(found.address));
}

worker_setup common_setup(const collect_settings& settings, const plan& made,
                          const run_endpoint& endpoint,
                          const std::string& bound) {
  worker_setup setup;
  setup.root_here = settings.install_root;
  setup.root_there = settings.remote_path;
  setup.program = settings.remote_path.empty()
                      ? own_program(worker_name)
                      : settings.remote_path + "/bin/" + worker_name;
  setup.version = product_version();
  if (!settings.async)
    setup.endpoint =
        endpoint.host.empty() ? bound : worker_endpoint(endpoint.host, bound);
  if (wants_configuration(settings))
    setup.configuration = worker_configuration(settings, made);
  return setup;
}

std::vector<std::string> scan_command(const collect_settings& settings,
                                      std::optional<std::int64_t> run) {
  std::vector<std::string> words = {own_program("zelk-accumulate"),
                                    "scan",
                                    output_directory(settings),
                                    "--quiet",
                                    "--progress",
                                    "none",
                                    "--stats-interval",
                                    "0"};
  if (run) {
    words.emplace_back("--run");
    words.push_back(std::to_string(*run));
  }
  if (!settings.datastore.empty()) {
    words.emplace_back("--db");
    words.push_back(settings.datastore);
  }
  return words;
}

std::string note_of(const collect_settings& settings, const plan& made) {
  std::map<std::string, std::vector<std::string>> left_out;
  for (const not_required& each : made.not_required)
    left_out[(each.provider.empty() ? "" : each.provider + ": ") + each.reason]
        .push_back(each.node);
  std::vector<std::string> parts = settings.notes;
  for (const auto& [what, nodes] : left_out)
    parts.push_back("not required on " +
                    TokenizedHost::get_merged_hosts(nodes) + ": " + what);
  std::string note;
  for (const std::string& part : parts)
    note += (note.empty() ? "" : "; ") + part;
  return note.substr(0, longest_note);
}

std::string sharing_problem(const precheck_report& report) {
  std::vector<std::string> apart;
  for (const auto& [node, facts] : report.nodes)
    if (facts.answered && (facts.token != "read" || !facts.reply_seen))
      apart.push_back(node);
  if (apart.empty()) return "";
  return "--async: expected " + report.directory +
         " to be one directory, shared by all nodes and writable there; it is "
         "not on " +
         TokenizedHost::get_merged_hosts(apart);
}

bool is_failure(int exit_status) {
  // "Not applicable" and "could not measure" (doc/providers.md) say nothing
  // against a node.
  constexpr int first_harmless = 80;
  constexpr int last_harmless = 83;
  return exit_status != 0 &&
         (exit_status < first_harmless || exit_status > last_harmless);
}

int exit_status_of(const ledger& account) {
  if (account.expected() > 0 && account.received() == 0) return exit_nothing;
  if (account.lacking() > 0 || account.cut_off() > 0) return exit_partial;
  return exit_complete;
}

std::string closing_state(bool interrupted, const collect_settings& settings,
                          const ledger& account) {
  if (interrupted) return "interrupted";
  const bool all = account.lacking() == 0 && settings.run == "new";
  return all ? "complete" : "auto";
}

std::string without_prefix(std::string_view line) {
  for (const std::string_view name : {"zelk-accumulate: ", "zelk-db: "})
    if (line.starts_with(name)) return std::string(line.substr(name.size()));
  return std::string(line);
}

std::int64_t wall_clock_usec() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

run_summary summary_of(const ledger& account) {
  run_summary made;
  made.received = account.received();
  made.expected = account.expected();
  made.answering = account.answering();
  made.nodes = account.nodes();
  made.rows = account.rows();
  made.missing = account.missing();
  return made;
}

int judge(const collect_settings& settings, std::int64_t run) {
  const std::string program = own_program("zelk-check");
  const std::string number = std::to_string(run);
  std::vector<const char*> words = {program.c_str(), "--run", number.c_str()};
  const auto give = [&](const char* option, const std::string& value) {
    if (value.empty()) return;
    words.push_back(option);
    words.push_back(value.c_str());
  };
  give("--db", settings.datastore);
  give("--config", settings.config_file);
  give("--nodefile", settings.nodefile);
  words.push_back(nullptr);
  std::cout.flush();
  ::execv(program.c_str(), const_cast<char* const*>(words.data()));
  std::cerr << "zelk-collect: cannot start " << program << " "
            << util::errno_text(errno) << "\n";
  return exit_unusable;
}

}  // namespace zelk::collect
