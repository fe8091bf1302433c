#include "src/collect/src/collect/control_lines.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace zelk::collect {

namespace {

using nlohmann::json;

// So that neither side ever holds a line of many megabytes.
constexpr std::size_t most_entries = 1000;

std::string line_of(const json& object) {
  return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

template <typename Entry, typename Convert>
std::string lines_of(const char* name, const std::vector<Entry>& entries,
                     Convert convert) {
  std::string text;
  for (std::size_t i = 0; i < entries.size(); i += most_entries) {
    json list = json::array();
    const std::size_t end = std::min(i + most_entries, entries.size());
    for (std::size_t k = i; k < end; ++k)
      list.push_back(convert(entries[k]));
    text += line_of({{name, std::move(list)}});
  }
  return text;
}

json json_of(const expected_result& what) {
  return {{"node", what.node},
          {"provider", what.provider},
          {"option", what.option}};
}

accumulator_event::kind kind_of(const std::string& name) {
  if (name == "run") return accumulator_event::kind::run;
  if (name == "result") return accumulator_event::kind::result;
  if (name == "refused") return accumulator_event::kind::refused;
  if (name == "closed") return accumulator_event::kind::closed;
  return accumulator_event::kind::other;
}

struct not_an_event : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The whole number of a member, 0 when there is none. JSON has numbers that no
// integer of ours can hold, and its library would convert them all the same.
template <typename Integer>
Integer whole(const json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) return 0;
  const bool fits =
      found->is_number_unsigned()
          ? std::in_range<Integer>(found->get<std::uint64_t>())
          : found->is_number_integer() &&
                std::in_range<Integer>(found->get<std::int64_t>());
  if (!fits) throw not_an_event(std::string("'") + key + "' is no such number");
  return found->get<Integer>();
}

}  // namespace

std::string run_line(const std::string& label, const std::string& note,
                     const std::string& command_line) {
  json run = json::object();
  if (!label.empty()) run["label"] = label;
  if (!note.empty()) run["note"] = note;
  run["command_line"] = command_line;
  return line_of({{"run", std::move(run)}});
}

std::string expect_lines(const std::vector<expected_result>& expected) {
  return lines_of("expect", expected, json_of);
}

std::string missing_lines(const std::vector<missing_result>& missing) {
  return lines_of("missing", missing, [](const missing_result& each) {
    json entry = json_of(each.what);
    entry["reason"] = each.reason;
    return entry;
  });
}

std::string close_line(std::string_view state) {
  return line_of({{"close", state}});
}

std::optional<accumulator_event> read_event(std::string_view line) {
  const json object = json::parse(line, nullptr, false);
  if (!object.is_object()) return {};
  try {
    accumulator_event event;
    event.what = kind_of(object.value("event", ""));
    event.run = whole<std::int64_t>(object, "run");
    event.result.node = object.value("node", "");
    event.result.provider = object.value("provider", "");
    event.result.option = object.value("option", "");
    event.host_name = object.value("hostname", "");
    event.exit_status = whole<int>(object, "exit_status");
    event.duration = object.value("duration", 0.0);
    event.bytes = whole<std::int64_t>(object, "bytes");
    event.peer = object.value("peer", "");
    event.reason = object.value("reason", "");
    event.state = object.value("state", "");
    event.results = whole<std::int64_t>(object, "results");
    return event;
  } catch (const json::exception&) {
    return {};  // a member of another type: not ours
  } catch (const not_an_event&) {
    return {};
  }
}

}  // namespace zelk::collect
