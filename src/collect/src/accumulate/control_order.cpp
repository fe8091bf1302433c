#include "src/collect/src/accumulate/control_order.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace zelk::accumulate {

namespace {

using nlohmann::json;

// An object in a list in an object.
constexpr int deepest = 3;

struct not_an_order : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

json parse(std::string_view line) {
  bool deep = false;
  const auto watch = [&](int depth, json::parse_event_t /*event*/,
                         json& /*value*/) {
    deep = deep || depth > deepest;
    return !deep;
  };
  json value = json::parse(line, watch, false);
  if (deep) throw not_an_order("it is nested too deeply");
  if (!value.is_object()) throw not_an_order("it is not a JSON object");
  return value;
}

// The text of a member; empty when there is none.
std::string text(const json& value, const char* key) {
  const auto found = value.find(key);
  if (found == value.end()) return "";
  if (!found->is_string())
    throw not_an_order(std::string("'") + key + "' is not text");
  return found->get<std::string>();
}

void read_run(const json& value, control_order& order) {
  if (!value.is_object()) throw not_an_order("'run' is not an object");
  order.label = text(value, "label");
  order.note = text(value, "note");
  order.command_line = text(value, "command_line");
}

missing_result read_result(const json& value) {
  if (!value.is_object()) throw not_an_order("an entry is not an object");
  missing_result result{
      {text(value, "node"), text(value, "provider"), text(value, "option")},
      text(value, "reason")};
  if (result.what.node.empty()) throw not_an_order("an entry has no 'node'");
  return result;
}

void read_results(const json& value, control_order& order) {
  if (!value.is_array()) throw not_an_order("it has no list");
  order.results.reserve(value.size());
  for (const json& entry : value)
    order.results.push_back(read_result(entry));
}

void read_state(const json& value, control_order& order) {
  if (value == "auto") return;
  for (const run_state state :
       {run_state::complete, run_state::partial, run_state::interrupted})
    if (value == run_state_name(state)) order.state = state;
  if (!order.state)
    throw not_an_order(
        "'close' is none of complete, partial, interrupted, auto");
}

struct verb {
  const char* name;
  control_order::kind kind;
  void (*read)(const json& value, control_order& order);
};

constexpr verb verbs[] = {
    {"run", control_order::kind::run, read_run},
    {"expect", control_order::kind::expect, read_results},
    {"missing", control_order::kind::missing, read_results},
    {"close", control_order::kind::close, read_state},
};

}  // namespace

control_line read_control_line(std::string_view line) {
  try {
    const json value = parse(line);
    for (const verb& one : verbs) {
      const auto found = value.find(one.name);
      if (found == value.end()) continue;
      control_order order;
      order.what = one.kind;
      one.read(*found, order);
      return {order, ""};
    }
    throw not_an_order("it has none of run, expect, missing, close");
  } catch (const std::exception& error) {
    return {{}, error.what()};
  }
}

}  // namespace zelk::accumulate
