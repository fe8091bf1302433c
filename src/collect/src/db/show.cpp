#include "src/collect/src/db/show.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <optional>
#include <set>
#include <vector>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/read_result.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/reading/base64.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/names/names.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::run;
using datastore::database;

// Candidates in one message.
constexpr std::size_t most_listed = 20;

std::vector<std::int64_t> matching(database& base, const run& from,
                                   const show_options& options) {
  accumulate::result_filter filter;
  filter.run = from.number;
  filter.node = options.node;
  filter.provider = options.provider;
  std::vector<std::int64_t> ids;
  for_each_result(base, filter, [&](std::int64_t id) {
    ids.push_back(id);
    return true;
  });
  if (options.result != 0)
    std::erase_if(ids, [&](std::int64_t id) { return id != options.result; });
  if (options.option_id.empty()) return ids;
  std::erase_if(ids, [&](std::int64_t id) {
    const std::optional<provider_result> result =
        accumulate::read_result(base, id);
    return !result || field_text(result->header.option_id) != options.option_id;
  });
  return ids;
}

std::string nodes_of(database& base, const run& from) {
  datastore::statement query(base, "SELECT node FROM v_host WHERE run = ?1");
  query.bind(1, from.number);
  std::vector<std::string> nodes;
  while (query.step())
    nodes.emplace_back(query.bytes(0));
  return TokenizedHost::get_merged_hosts(nodes);
}

// Why there is nothing, as far as the run knows.
std::string reason_of(database& base, const run& from,
                      const show_options& options) {
  for (const accumulate::missing_result& missing :
       accumulate::missing_results(base, from.number)) {
    const bool same =
        missing.what.node == options.node &&
        (missing.what.provider.empty() || options.provider.empty() ||
         missing.what.provider == options.provider);
    if (same && !missing.reason.empty())
      return text::visible_text(missing.reason);
    if (same) return "it was expected and did not come";
  }
  return "";
}

[[noreturn]] void refuse_nothing(database& base, const run& from,
                                 const show_options& options) {
  std::string text = fmt::format("Run {} has no result", from.number);
  if (!options.node.empty())
    text += " of '" + text::visible_text(options.node) + "'";
  if (!options.provider.empty())
    text += " by '" + text::visible_text(options.provider) + "'";
  if (options.result != 0)
    text += fmt::format(" with the number {}", options.result);
  const std::string reason = reason_of(base, from, options);
  if (!reason.empty()) throw reading::refusal(text + ": " + reason);
  const std::string nodes = nodes_of(base, from);
  throw reading::refusal(nodes.empty() ? text
                                       : text + "; it has results of " + nodes);
}

std::string candidate(const provider_result& result) {
  return fmt::format("{} {} {}",
                     text::visible_text(field_text(result.header.hostname)),
                     text::visible_text(field_text(result.header.name)),
                     text::visible_text(field_text(result.header.option_id)));
}

[[noreturn]] void refuse_several(database& base, const run& from,
                                 const std::vector<std::int64_t>& ids) {
  std::string text = fmt::format(
      "{} results of run {} are meant; name NODE, PROVIDER and --option, or "
      "one "
      "of these by --result, or ask for --header:",
      ids.size(), from.number);
  for (std::size_t i = 0; i < std::min(ids.size(), most_listed); ++i)
    if (const auto result = accumulate::read_result(base, ids[i]))
      text += fmt::format("\n  {} --result {}", candidate(*result), ids[i]);
  if (ids.size() > most_listed) text += "\n  ...";
  throw reading::refusal(text);
}

std::string encoding_name(std::int32_t encoding) {
  for (const auto& [name, value] : provider::encoding_names)
    if (static_cast<std::int32_t>(value) == encoding) return name;
  return fmt::format("{}", encoding);
}

void line(const char* name, const std::string& value) {
  std::cout << fmt::format("{:<14} {}\n", name, value);
}

void print_header(std::int64_t id, const provider_result& result) {
  const provider_result_header& header = result.header;
  line("result", fmt::format("{}", id));
  line("provider", text::visible_text(field_text(header.name)));
  line("option", text::visible_text(field_text(header.option_id)));
  line("hostname", text::visible_text(field_text(header.hostname)));
  line("host_arg", text::visible_text(field_text(header.host_arg)));
  line("username", text::visible_text(field_text(header.username)));
  line("exit_status", fmt::format("{}", header.exit_status));
  line("ended",
       fmt::format("{}.{:06}", header.timestamp_sec, header.timestamp_usec));
  line("duration", fmt::format("{}", header.duration));
  line("encoding", encoding_name(header.encoding));
  line("version", fmt::format("{}", header.version));
  line("num_nodes", fmt::format("{}", header.num_nodes));
  line("nodes", text::visible_text(result.nodes_csv));
  line("stdout_size", fmt::format("{}", result.stdout.size()));
  line("stderr_size", fmt::format("{}", result.stderr.size()));
}

provider_result read(database& base, std::int64_t id) {
  std::optional<provider_result> result = accumulate::read_result(base, id);
  if (!result) throw reading::failure(fmt::format("Result {} is gone", id));
  return std::move(*result);
}

int print_headers(database& base, const std::vector<std::int64_t>& ids) {
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i > 0) std::cout << '\n';
    print_header(ids[i], read(base, ids[i]));
  }
  return accumulate::exit_fine;
}

std::string decoded(const provider_result& result) {
  reading::base64_bytes bytes = reading::bytes_of_base64(result.stdout.view());
  if (bytes.problem.empty()) return std::move(bytes.bytes);
  throw reading::failure("The output of " + candidate(result) +
                         " says it is base64, but " + bytes.problem);
}

void print_bytes(const provider_result& result, const show_options& options) {
  const bool encoded =
      result.header.encoding == static_cast<int>(provider::encoding::BASE64);
  if (options.from_stderr)
    std::cout << result.stderr.view();
  else if (options.decode && encoded)
    std::cout << decoded(result);
  else
    std::cout << result.stdout.view();
}

}  // namespace

int show_result(const reading::place& where, const show_options& options) {
  database base = reading::open_to_read(where);
  const run from = reading::select_run(base, options.run);
  const std::vector<std::int64_t> ids = matching(base, from, options);
  if (ids.empty()) refuse_nothing(base, from, options);
  if (options.header) return print_headers(base, ids);
  if (ids.size() > 1) refuse_several(base, from, ids);
  print_bytes(read(base, ids.front()), options);
  return accumulate::exit_fine;
}

}  // namespace zelk::db
