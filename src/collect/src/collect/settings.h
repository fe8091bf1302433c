// What zelk-collect was told, and by whom.
//
// One plain record with the built-in values at its members; the configuration,
// the environment and the command line replace them, in this order, so that
// the later one wins. Reading checks each value by itself; what values mean
// together (nodes that match, providers that exist) is found when the plan is
// made.

#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/common/names/names.h"

namespace zelk::collect {

enum class action {
  collect,
  list,         // -L
  dry_run,      // --dry-run
  validate,     // --validate
  show_config,  // --show-config
  doctor,       // --doctor: the checks before launching, and nothing else
};

enum class progress_style { automatic, bar, lines, none };
enum class color_use { automatic, always, never };

// A group of providers that a configuration names; used as @NAME.
struct suite {
  struct member {
    std::string name;   // a provider, or "@" and another suite
    std::string where;  // "FILE:LINE", for complaints
  };
  std::vector<member> members;
  std::string where;
};

struct collect_settings {
  action what = action::collect;

  // What to run.
  std::vector<std::string> wanted;  // providers and @suites; none: @default
  std::vector<std::string> provider_files;  // -f
  std::string provider_options_file;        // -p; "": none
  std::vector<std::string> skipped;         // --skip
  std::map<std::string, suite> suites;      // by name without "@"

  // Where.
  std::vector<std::string> nodes;        // -w, each as typed
  std::vector<std::string> and_nodes;    // --and
  std::vector<std::string> excluded;     // -x
  std::vector<std::string> roles;        // --role
  std::vector<std::string> subclusters;  // --subcluster
  std::string nodefile;                  // -n; "": none
  std::optional<std::size_t> pick;       // --pick
  bool idle = false;                     // --idle
  std::string own_name;  // -H: of this machine; "": its host name

  // How.
  std::string launcher = "ssh";  // one of launcher_kinds()
  int fanout = 64;               // connections at once
  std::chrono::milliseconds connect_timeout{10'000};
  // Instead of each provider's own limit, when it is there.
  std::optional<std::chrono::seconds> timeout;
  std::vector<std::string> ssh_options;  // each as ssh -o takes it
  std::string user;                      // "": ssh's own choice
  std::string remote_path;  // install root on the nodes; "": the same as here
  std::string address;      // where nodes reach the accumulator; "": found out
  std::chrono::milliseconds stagger{0};
  nodelist_method_t order = nodelist_method_t::NONE;
  std::optional<std::uint64_t> seed;  // of --pick and --order random
  int retry = 0;                      // times that a silent node is tried again
  bool fail_fast = false;
  bool async = false;            // results go through the shared directory
  std::string shared_directory;  // "": the configuration's output_directory

  // Result.
  std::string datastore;           // --db; "": zelk-accumulate's own choice
  std::string run = "new";         // --into
  std::string label;               // "": none
  std::vector<std::string> notes;  // each KEY=VALUE
  bool check = false;              // judge the run when it is there
  bool json = false;               // one summary document on stdout
  std::string events;              // file of event lines; "-": stdout; "": none

  // What people see.
  int log_level = 4;
  bool quiet = false;
  bool pager = true;
  progress_style progress = progress_style::automatic;
  color_use color = color_use::automatic;

  std::string install_root;
  std::string config_file;       // -c
  std::string output_directory;  // of the configuration: where spool files go
  std::string command_line;      // as typed, one blank between words

  // Which of them were replaced and by whom ("--fanout", "ZELK_CONFIG",
  // "etc/zelk.xml:12"); a name that is not here has its built-in value.
  std::map<std::string, std::string> origins;

  bool is_set(const std::string& name) const { return origins.contains(name); }
};

}  // namespace zelk::collect
