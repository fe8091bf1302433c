#include "src/collect/src/provider/run_command.h"

#include <sys/time.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "src/collect/src/provider/command_line.h"
#include "src/collect/src/provider/nodefile.h"
#include "src/collect/src/utils/scale_timeout.h"
#include "src/common/log/error_log.h"
#include "src/common/util/cmd.h"
#include "src/common/util/errno_text.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider/run_command";

// The base and its scale come from the same place: an option set's hours are
// not meant to grow by a description's rule.
std::int64_t timeout_for(const provider_config& description,
                         const preproc::ProcessedProviderAttributes& option_set,
                         std::uint16_t nodes) {
  if (option_set.timeout > 0)
    return scale_timeout(option_set.timeout, nodes, option_set.scale_type);
  return scale_timeout(description.timeout, nodes, description.scale_type);
}

bool run(util::cmd& command, const std::string& name) {
  log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
      << "About to run data provider '" << command.command
      << "'. Command will time out in " << command.timeout << " second(s).";
  if (command.popen3() != 0) {
    const int code = errno;
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << "Error executing popen3 " << util::errno_text(code);
    return false;
  }
  if (command.exit_status != 0) {
    log::ErrorLog(source, __func__, __LINE__, log::level_info).stream()
        << "exit status from data provider '" << name << "' is '"
        << command.exit_status << "'";
  }
  return true;
}

bool take_time(timeval& timestamp) {
  if (::gettimeofday(&timestamp, nullptr) == 0) return true;
  const int code = errno;
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "Error getting time " << util::errno_text(code);
  return false;
}

void set_name(provider_result_header& header, const std::string& name) {
  std::memset(header.name, 0, sizeof(header.name));
  name.copy(header.name, sizeof(header.name) - 1);
}

// Takes the output blocks over instead of copying them: a provider may print
// gigabytes.
void fill_record(provider_result& record, const provider_config& description,
                 util::cmd& command, std::string names) {
  record.stdout = std::move(command.standard_output);
  record.stderr = std::move(command.standard_error);
  record.nodes_csv = std::move(names);

  provider_result_header& header = record.header;
  header.api = result_api;
  header.exit_status = command.exit_status;
  set_name(header, description.name);
  header.encoding = static_cast<std::int32_t>(description.encoding);
  header.timestamp_sec = description.timestamp.tv_sec;
  header.timestamp_usec = description.timestamp.tv_usec;
  header.duration = command.duration;
  header.stdout_size = static_cast<std::int64_t>(record.stdout.size());
  header.stderr_size = static_cast<std::int64_t>(record.stderr.size());
  header.nodes_csv_size = static_cast<std::int64_t>(record.nodes_csv.size());
  header.version = description.version;
}

}  // namespace

bool run_provider_command(
    provider_config& description, provider_result& record,
    const std::string& prefix,
    const preproc::ProcessedProviderAttributes& option_set) {
  // A provider of one node needs no node file, so that none can be read is
  // nothing to report.
  std::string names;
  read_nodefile(description.nodefile.c_str(), record.header.num_nodes, names);

  const std::int64_t timeout_sec =
      timeout_for(description, option_set, record.header.num_nodes);
  util::cmd command(provider_command_line(description, prefix, timeout_sec),
                    timeout_sec);
  if (!run(command, description.name)) return false;
  if (!take_time(description.timestamp)) return false;
  fill_record(record, description, command, std::move(names));
  return true;
}

}  // namespace zelk
