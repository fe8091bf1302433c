#include "src/collect/src/provider/result.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <sstream>

#include "src/common/log/error_log.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider/result";

bool size_fits(std::int64_t size, std::size_t block) {
  return size >= 0 && static_cast<std::uint64_t>(size) <= block;
}

// Parts 1 to 10, each a line.
std::string summary_head(const provider_result_header& header) {
  std::ostringstream text;
  text << "Name: " << field_text(header.name) << "\n"
       << "Hostname: " << field_text(header.hostname) << "\n"
       << "Duration: " << header.duration << "\n"
       << "Timestamp: " << header.timestamp_sec << "." << std::setw(6)
       << std::setfill('0') << header.timestamp_usec << "\n"
       << "Exit status: " << header.exit_status << "\n"
       << "Encoding: " << header.encoding
       << "\n"
       // A byte, not a number: 1 is the control character.
       << "API: " << static_cast<char>(header.api) << "\n"
       << "OptionID: " << field_text(header.option_id) << "\n"
       << "version: " << header.version << "\n"
       << "User name: " << field_text(header.username) << "\n";
  return text.str();
}

void append_block(std::string& text, const char* label, std::int64_t size,
                  const util::byte_buffer& block) {
  text += label;
  text += " (" + std::to_string(size) + " bytes): \n";
  text += block.view();
  text += "\n";
}

}  // namespace

void set_option_id(provider_result& record, std::string_view id) {
  constexpr std::size_t longest = sizeof(record.header.option_id) - 1;
  std::memset(record.header.option_id, 0, sizeof(record.header.option_id));
  id.copy(record.header.option_id, longest);
}

bool sizes_fit_blocks(const provider_result& record) {
  const provider_result_header& header = record.header;
  if (size_fits(header.stdout_size, record.stdout.size()) &&
      size_fits(header.stderr_size, record.stderr.size()) &&
      size_fits(header.nodes_csv_size, record.nodes_csv.size()))
    return true;
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "The sizes in the result of data provider '" << field_text(header.name)
      << "' do not fit its output";
  return false;
}

std::string api_fault(const provider_result_header& header) {
  if (header.api == result_api) return "";
  return "version " + std::to_string(header.api) + " instead of " +
         std::to_string(result_api);
}

std::string result_summary(const provider_result& record) {
  const provider_result_header& header = record.header;
  const std::string head = summary_head(header);
  // Room for the three labels and their numbers, so that the text is allocated
  // once: the blocks may be gigabytes.
  constexpr std::size_t labels = 256;
  std::string text;
  text.reserve(head.size() + labels + record.stdout.size() +
               record.stderr.size() + record.nodes_csv.size());
  text += head;
  append_block(text, "stdout", header.stdout_size, record.stdout);
  append_block(text, "stderr", header.stderr_size, record.stderr);
  text += "nodes (" + std::to_string(header.num_nodes) + " nodes, " +
          std::to_string(header.nodes_csv_size) + " bytes): ";
  text += record.nodes_csv;
  text += "\n";
  return text;
}

}  // namespace zelk
