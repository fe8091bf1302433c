// A small plan for tests: nodes n1 ... nN, each with "memory" and with "stream"
// in two option sets.

#pragma once

#include <string>

#include "src/collect/src/collect/plan.h"

namespace zelk::collect::testing {

inline option_set example_set(const std::string& id, int limit_sec,
                              const std::string& text) {
  option_set made;
  made.id = id;
  made.timeout = std::chrono::seconds(limit_sec);
  made.text = text;
  return made;
}

inline planned_provider example_provider(const std::string& name,
                                         const std::vector<option_set>& sets) {
  planned_provider made;
  made.stem = made.name = name;
  made.path = "/opt/zelkara/etc/providers/" + name + ".xml";
  made.options = sets;
  return made;
}

inline plan example_plan(int nodes) {
  plan made;
  made.providers = {
      example_provider("memory", {example_set("None", 60, "")}),
      example_provider("stream", {example_set("quick", 60, "SIZE='4' "),
                                  example_set("full", 300, "SIZE='9' ")}),
  };
  made.phases.emplace_back();
  for (int i = 1; i <= nodes; ++i) {
    task one;
    one.node = "n" + std::to_string(i);
    made.nodes.push_back({one.node, "compute", ""});
    for (const planned_provider& provider : made.providers) {
      one.descriptions.push_back(provider.path);
      for (const option_set& set : provider.options) {
        one.expected.push_back({one.node, provider.name, set.id});
        one.limit += set.timeout;
      }
    }
    one.limit += task_margin;
    made.phases.front().push_back(one);
  }
  return made;
}

}  // namespace zelk::collect::testing
