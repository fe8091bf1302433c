#include "src/collect/src/collect/next_commands.h"

#include <fmt/format.h>

#include <algorithm>

#include "src/common/node/tokenized_host.h"
#include "src/common/preproc/preproc.h"

namespace zelk::collect {

namespace {

// Whether the command line gave the option, spelled in one of its two ways.
bool typed(const collect_settings& settings, std::string_view name,
           std::string_view short_name = "") {
  return std::any_of(
      settings.origins.begin(), settings.origins.end(),
      [&](const auto& origin) {
        return origin.second == name ||
               (!short_name.empty() && origin.second == short_name);
      });
}

class command_builder {
 public:
  explicit command_builder(const collect_settings& settings)
      : settings_(settings) {}

  void word(std::string_view text) { text_ += " " + shell_word(text); }
  void option(std::string_view name, const std::string& value,
              std::string_view short_name = "") {
    if (!typed(settings_, name, short_name)) return;
    word(short_name.empty() ? name : short_name);
    word(value);
  }
  void list(std::string_view name, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
      word(name);
      word(value);
    }
  }
  std::string text() && { return std::move(text_); }

 private:
  const collect_settings& settings_;
  std::string text_ = "zelk-collect";
};

std::string seconds_text(std::chrono::milliseconds time) {
  return fmt::format("{}", static_cast<double>(time.count()) / 1000);
}

void add_how(command_builder& to, const collect_settings& settings) {
  to.option("--launcher", settings.launcher);
  to.option("--fanout", fmt::format("{}", settings.fanout));
  to.option("--connect-timeout", seconds_text(settings.connect_timeout));
  if (settings.timeout)
    to.option("--timeout", fmt::format("{}", settings.timeout->count()));
  if (typed(settings, "--ssh-option"))
    to.list("--ssh-option", settings.ssh_options);
  to.option("--user", settings.user);
  to.option("--remote-path", settings.remote_path);
  to.option("--address", settings.address);
  if (settings.async &&
      (typed(settings, "--async") || typed(settings, "--launcher")))
    to.word("--async");
  to.option("--shared-directory", settings.shared_directory);
}

std::string db_words(const collect_settings& settings) {
  if (typed(settings, "--db")) return " --db " + shell_word(settings.datastore);
  if (typed(settings, "--config", "-c"))
    return " -c " + shell_word(settings.config_file);
  return "";
}

std::string where(const next_facts& facts) {
  return " -w " + shell_word(TokenizedHost::get_merged_hosts(facts.lacking));
}

// What only somebody at the node, or with its keys, can put right.
bool wants_doctor(const std::vector<shortfall_row>& rows) {
  return std::any_of(rows.begin(), rows.end(), [](const auto& row) {
    return row.kind == shortfall::host_key || row.kind == shortfall::no_login ||
           row.kind == shortfall::no_worker ||
           row.kind == shortfall::wrong_version;
  });
}

}  // namespace

std::string shell_word(std::string_view word) {
  constexpr std::string_view harmless =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
      "@%_+=:,./-[]";
  const bool plain = !word.empty() &&
                     word.find_first_not_of(harmless) == std::string_view::npos;
  return plain ? std::string(word) : preproc::shell_quoted(word);
}

std::string same_again(const collect_settings& settings) {
  command_builder made(settings);
  for (const std::string& word : settings.wanted)
    made.word(word);
  made.list("-f", settings.provider_files);
  made.option("--provider-config-file", settings.provider_options_file, "-p");
  if (typed(settings, "--skip")) made.list("--skip", settings.skipped);
  made.option("--config", settings.config_file, "-c");
  made.option("--db", settings.datastore);
  made.option("--nodefile", settings.nodefile, "-n");
  add_how(made, settings);
  return std::move(made).text();
}

std::vector<next_command> next_commands(const collect_settings& settings,
                                        const next_facts& facts) {
  std::vector<next_command> list;
  if (!facts.run) return list;
  const std::string run = fmt::format("{}", *facts.run);
  if (facts.can_judge)
    list.push_back(
        {"zelk-check --run " + run + db_words(settings), "what is wrong"});
  else if (facts.anything)
    list.push_back({"zelk-db show " + run + db_words(settings) + " --header",
                    "what has come"});
  if (facts.lacking.empty()) return list;
  const std::string again = same_again(settings);
  list.push_back({again + " --into " + run + where(facts),
                  "fill the gaps into the same run"});
  if (wants_doctor(facts.rows))
    list.push_back({again + " --doctor" + where(facts), "find out why"});
  return list;
}

}  // namespace zelk::collect
