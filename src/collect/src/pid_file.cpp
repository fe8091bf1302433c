#include "src/collect/src/pid_file.h"

#include <unistd.h>

#include <fstream>

#include "src/common/log/error_log.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/zelk_run_provider";

}  // namespace

void write_pid_file(const std::string& path) {
  std::ofstream file(path, std::ios::trunc);
  if (!file) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << "Error opening pid file " << path << '.';
    return;
  }
  file << ::getpgid(::getpid()) << '\n';
  file.close();
  if (!file) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << "Error writing pid file " << path << '.';
  }
}

}  // namespace zelk
