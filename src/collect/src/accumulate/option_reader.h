// The options of zelk-accumulate as words and numbers, before anybody judges
// what they mean together.
//
// Knows which options there are, what kind of value each takes, and the help.
// Values that need no judgement go straight into the commands' own records.

#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/command_line.h"

namespace zelk::accumulate {

inline constexpr char program_name[] = "zelk-accumulate";
inline constexpr char default_endpoint[] = "tcp://127.0.0.1:5557";

// Something that the user typed is not understood; what() says it.
struct usage_mistake : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct option_words {
  // of all commands
  bool help = false;  // these two are looked for by hand
  bool version = false;
  std::string config;
  std::string datastore;
  std::string level = "warning";
  int verbose = 0;
  bool quiet = false;
  std::string progress = "auto";
  std::string color = "auto";
  bool no_color = false;
  // of those that store
  std::string run;
  std::string label;
  std::string note;
  std::vector<std::string> expect;
  std::vector<std::string> providers;
  std::size_t batch = 200;
  int commit_ms = 500;
  std::size_t max_record = std::size_t{64} << 20;
  std::string bad_dir;
  int stats_interval = 60;  // seconds, as all times below
  int ready_fd = -1;
  bool json = false;
  // of listen
  int time_limit = 0;
  int stop_wait = 10;
  int heartbeat = 30;
  int control_fd = -1;
  int events_fd = -1;
  // of scan
  bool remove = false;
  int lock_wait = 5;
  int incomplete_age = 30;
  int store_wait = 30;
  double poll_interval = 2;
  // of replay
  int replay_wait = 30;
};

class option_reader {
 public:
  // Values go into `words` and `result`, which outlives the reader.
  explicit option_reader(command_line& result);

  // Reads what stands in front of "--". Throws usage_mistake.
  void read(const std::vector<std::string>& options);

  bool listens() const { return listen_->parsed(); }
  bool scans() const { return scan_->parsed(); }
  bool replays() const { return replay_->parsed(); }
  // Whether a memory size was given, and is not the default.
  bool memory_given() const;

  // Help on the command that is among `options`, or on all.
  std::string help(const std::vector<std::string>& options);

  option_words words;

 private:
  void declare_common();
  void declare_listen();
  void declare_scan();
  void declare_replay();
  void declare_storing(CLI::App& command);
  void declare_runs(CLI::App& command);
  static void declare_fd(CLI::App& command, const char* name, int& fd,
                         const char* text);
  CLI::App& command(const char* name, const char* description);
  CLI::App& wanted_command(const std::vector<std::string>& options);
  void check_extras(const std::vector<std::string>& options);

  command_line& result_;
  CLI::App app_{"Takes provider results in and stores them.", program_name};
  std::shared_ptr<CLI::Formatter> formatter_ =
      std::make_shared<CLI::Formatter>();
  CLI::App* listen_ = nullptr;
  CLI::App* scan_ = nullptr;
  CLI::App* replay_ = nullptr;
};

}  // namespace zelk::accumulate
