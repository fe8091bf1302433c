#include "src/collect/src/run_options.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "src/collect/src/paths.h"
#include "src/common/log/error_log.h"
#include "src/common/names/names.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/zelk_run_provider";

void set_log_level(run_options& options, const std::string& name) {
  const auto found = log_level_names.find(name);
  if (found != log_level_names.end()) log::LOG_LEVEL = found->second;
  if (name == "debug") options.debug = true;
}

void print_option(std::string_view option, std::string_view description) {
  std::cout << "  " << option << "\n     " << description << '\n';
}

}  // namespace

void read_linger_setting(run_options& options) {
  const char* text = std::getenv("ZELK_COLLECT_LINGER");
  if (text == nullptr) return;

  // atol: whatever follows the number is ignored and no number is 0. Scripts
  // rely on both.
  const long value = std::atol(text);  // NOLINT(cert-err34-c)
  if (value < -1) {
    log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
        << "Invalid value of ZELK_COLLECT_LINGER: " << value;
    return;
  }
  options.linger = static_cast<std::int32_t>(value);
  log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
      << "ZELK_COLLECT_LINGER = " << options.linger;
}

bool parse_arguments(run_options& options, int argc, char* argv[]) {
  for (;;) {
    switch (::getopt(argc, argv, "Ac:e:f:hl:n:p:H:")) {
      case -1:
        return true;
      case 'A':
        options.async_mode = true;
        break;
      case 'c':
        options.config_file = optarg;
        break;
      case 'e':
        options.endpoint = optarg;
        break;
      case 'f':
        options.provider_files.emplace_back(optarg);
        break;
      case 'h':
        print_usage(options, argv[0]);
        return false;
      case 'l':
        set_log_level(options, optarg);
        break;
      case 'n':
        options.nodefile = optarg;
        break;
      case 'p':
        options.provider_config_file = optarg;
        break;
      case 'H':
        options.hostname_override = optarg;
        break;
      default:  // '?': getopt has said what is wrong with it
        break;
    }
  }
}

void print_usage(const run_options&, const char* program_name) {
  std::cout << "Usage: " << program_name << " [options]\n"
            << "Options:\n";
  print_option("-A",
               "Store output locally for asynchronous accumulation by BREVIX");
  print_option("-c file", "Configuration file [default = " +
                              default_config_path(install_root) + "]");
  print_option("-f file",
               "Path to data provider configuration file. "
               "May be specified multiple times.");
  print_option("-l value",
               "Select the output level. Recognized values are (in increasing "
               "order of verbosity): alert, critical, error, warning, notice, "
               "info, debug [default = warning]");
  print_option("-n file", "Nodefile to use with cluster data providers");
  std::cout << "\nAt least the -f option must be specified.\n";
  print_option("--provider-config-file / -p",
               "Provider config file to use with data providers.");
  std::cout.flush();
}

}  // namespace zelk
