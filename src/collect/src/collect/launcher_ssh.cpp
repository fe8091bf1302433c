// The remote command is as short as can be, for the user's login shell reads it
// before sh does: csh, fish, or one that greets. The host name stands behind
// "--", so that no name is taken for an option.
//
// A connection whose other end has vanished is noticed by ssh's own questions
// (ServerAlive...), not by TCP, which waits for a quarter of an hour.
// What is asked of the user's keys and known hosts is the user's to configure:
// options given by the settings come first, and the first one wins with ssh.

#include <algorithm>
#include <chrono>

#include "src/collect/src/collect/launcher_kinds.h"
#include "src/collect/src/collect/per_node_launcher.h"

namespace zelk::collect {

namespace {

using std::chrono::seconds;

// Unanswered questions until a connection counts as broken.
constexpr int most_unanswered = 6;

std::string option(const char* name, seconds::rep value) {
  return std::string(name) + "=" + std::to_string(value);
}

}  // namespace

std::vector<std::string> ssh_option_words(const launcher_settings& settings) {
  const seconds::rep connect = std::max<seconds::rep>(
      1, std::chrono::ceil<seconds>(settings.connect_timeout).count());
  std::vector<std::string> options = settings.ssh_options;
  options.insert(
      options.end(),
      {"BatchMode=yes", option("ConnectTimeout", connect),
       option("ServerAliveInterval", std::max<seconds::rep>(1, connect / 2)),
       option("ServerAliveCountMax", most_unanswered)});
  std::vector<std::string> words;
  for (std::string& one : options) {
    words.emplace_back("-o");
    words.push_back(std::move(one));
  }
  if (!settings.user.empty()) {
    words.emplace_back("-l");
    words.push_back(settings.user);
  }
  return words;
}

std::unique_ptr<launcher> make_ssh_launcher(const launcher_settings& settings,
                                            event_loop& loop) {
  node_way way;
  way.program = "ssh";
  // No terminal, no agent, no display: a worker needs none of them.
  std::vector<std::string> words{"ssh", "-T", "-a", "-x"};
  const std::vector<std::string> options = ssh_option_words(settings);
  words.insert(words.end(), options.begin(), options.end());
  way.command = [words](const std::string& node) {
    std::vector<std::string> command = words;
    command.insert(command.end(), {"--", node, "exec /bin/sh -s zelk-collect"});
    return command;
  };
  way.no_start = ssh_failure;
  way.loss = ssh_loss;
  return std::make_unique<per_node_launcher>(settings, loop, std::move(way));
}

}  // namespace zelk::collect
