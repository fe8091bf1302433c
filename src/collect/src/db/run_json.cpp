#include "src/collect/src/db/run_json.h"

#include <algorithm>
#include <stdexcept>

#include "src/collect/src/reading/base64.h"
#include "src/common/text/time_text.h"
#include "src/common/text/utf8.h"

namespace zelk::db {

namespace {

using accumulate::run_state;

constexpr char base64_key[] = "base64";

// 32 hexadecimal digits in five groups.
bool is_uuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = text[i];
    const bool digit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
    if (dash ? c != '-' : !digit) return false;
  }
  return true;
}

const json& member(const json& value, const char* key) {
  const auto found = value.find(key);
  if (found == value.end())
    throw std::runtime_error(std::string("'") + key + "' is missing");
  return *found;
}

std::int64_t number(const json& value, const char* key) {
  const json& found = member(value, key);
  if (!found.is_number_integer() || found.get<std::int64_t>() < 0)
    throw std::runtime_error(std::string("'") + key +
                             "' is not a number from 0 upwards");
  return found.get<std::int64_t>();
}

// Behind the year 9999 no tool can write it.
std::int64_t time_of(const json& value, const char* key) {
  constexpr std::int64_t last = 253'402'300'799;  // seconds
  const std::int64_t usec = number(value, key);
  if (usec / text::usec_per_sec > last)
    throw std::runtime_error(std::string("'") + key +
                             "' lies behind the year 9999");
  return usec;
}

std::string text(const json& value, const char* key) {
  try {
    return bytes_of_json(member(value, key));
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("'") + key + "': " + error.what());
  }
}

run_state state_named(const std::string& name) {
  for (const run_state state : {run_state::running, run_state::complete,
                                run_state::partial, run_state::interrupted})
    if (run_state_name(state) == name) return state;
  throw std::runtime_error("'state' is none that a run can have");
}

json time_or_null(std::int64_t usec) {
  return usec == 0 ? json() : json(text::utc_time(usec));
}

}  // namespace

json json_of_bytes(std::string_view bytes) {
  if (text::is_text(bytes)) return std::string(bytes);
  return {{base64_key, reading::base64_of(bytes)}};
}

std::string bytes_of_json(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  const bool wrapped = value.is_object() && value.size() == 1 &&
                       value.contains(base64_key) &&
                       value[base64_key].is_string();
  if (!wrapped) throw std::runtime_error("expected text");
  const reading::base64_bytes decoded =
      reading::bytes_of_base64(value[base64_key].get<std::string>());
  if (!decoded.problem.empty()) throw std::runtime_error(decoded.problem);
  return decoded.bytes;
}

json json_of_run(const accumulate::run& run) {
  return {{"run", run.number},
          {"uuid", run.uuid},
          {"label", json_of_bytes(run.label)},
          {"note", json_of_bytes(run.note)},
          {"command_line", json_of_bytes(run.command_line)},
          {"state", std::string(run_state_name(run.state))},
          {"started", time_or_null(run.started_usec)},
          {"ended", time_or_null(run.ended_usec)},
          {"started_usec", run.started_usec},
          {"ended_usec", run.ended_usec},
          {"nodes", run.nodes},
          {"nodes_expected", run.nodes_expected},
          {"nodes_answered", run.nodes_answered},
          {"nodes_not_expected", accumulate::nodes_not_expected(run)},
          {"results", run.results},
          {"results_expected", run.results_expected}};
}

accumulate::run run_of_json(const json& value) {
  if (!value.is_object()) throw std::runtime_error("expected an object");
  accumulate::run run;
  run.number = number(value, "run");
  run.uuid = text(value, "uuid");
  if (!is_uuid(run.uuid)) throw std::runtime_error("'uuid' is not a UUID");
  run.label = text(value, "label");
  run.note = text(value, "note");
  run.command_line = text(value, "command_line");
  run.state = state_named(text(value, "state"));
  run.started_usec = time_of(value, "started_usec");
  run.ended_usec = time_of(value, "ended_usec");
  run.nodes = number(value, "nodes");
  run.nodes_expected = number(value, "nodes_expected");
  run.results = number(value, "results");
  run.results_expected = number(value, "results_expected");
  return run;
}

// DEL is ASCII and printable to the library; what else is not is escaped by it.
std::string one_line(const json& value) {
  constexpr char delete_character = '\x7f';
  const std::string line =
      value.dump(-1, ' ', true, json::error_handler_t::replace);
  std::string result;
  result.reserve(line.size());
  for (const char c : line)
    c == delete_character ? result += "\\u007f" : result += c;
  return result;
}

}  // namespace zelk::db
