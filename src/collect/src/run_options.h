// The worker's settings from its command line and environment.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zelk {

struct run_options {
  std::string config_file = "/etc/zelk.xml";  // -c; set to the install root's
  std::string endpoint;                       // -e; empty: unknown
  std::string hostname_override;              // -H
  std::vector<std::string> provider_files;    // -f, each; in order
  std::string provider_config_file;           // -p
  std::string nodefile;                       // -n
  bool debug = false;                         // -l debug
  std::int32_t linger = -1;                   // ms; -1: until all is sent
  bool async_mode = false;                    // -A
};

// Reads the options. Returns false after -h, with the usage text printed; what
// stands behind -h is not read. Unknown options are getopt(3)'s to complain of
// and are passed over, as are operands. `-l` sets log::LOG_LEVEL at once.
bool parse_arguments(run_options& options, int argc, char* argv[]);

// Writes the usage text to standard output. It names neither -e nor -H: the
// collection tool gives these, people do not.
void print_usage(const run_options& options, const char* program_name);

// Takes over ZELK_COLLECT_LINGER (milliseconds; what atol(3) makes of it). A
// value below -1 gets a warning and changes nothing.
void read_linger_setting(run_options& options);

}  // namespace zelk
