#include <fmt/format.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "src/check/test_judgement.h"

namespace zelk::check {

namespace {

using value_maker = std::function<std::string(const std::string& node)>;

// Adds a column; a node for which nothing is made says nothing of the fact.
void add_fact(run_data& run, const char* name, const char* provider,
              const facts::fact_traits& traits, const value_maker& value_of) {
  fact_column column{name, provider, "", traits, {}};
  for (const std::string& node : run.nodes) {
    const std::string text = value_of(node);
    column.values.push_back(text.empty() ? no_value
                                         : run.values.index_of_text(text));
  }
  run.facts.push_back(std::move(column));
}

provider_answer answer_of(answer what, const run_info& run,
                          const char* reason = "") {
  provider_answer result;
  result.what = what;
  result.reason = reason;
  if (what == answer::missing || what == answer::not_expected) return result;
  result.ended_usec = run.started_usec + 60'000'000;
  result.duration = 1.25;
  return result;
}

void add_provider(
    run_data& run, const char* name, const char* about,
    const std::function<provider_answer(const std::string&)>& of) {
  provider_info info;
  info.name = name;
  info.versions = {1};
  info.description = about;
  for (const std::string& node : run.nodes)
    info.answers.push_back(of(node));
  run.providers.push_back(std::move(info));
}

bool is_silent(const std::string& node) {
  return node == "node037" || node == "node112";
}

bool has_old_bios(const std::string& node) {
  return node >= "node101" && node <= "node104";
}

facts::fact_traits numeric(const char* unit, facts::better direction) {
  return {facts::value_type::number, direction, facts::comparison::outlier,
          unit};
}

value_maker unless_silent(value_maker maker) {
  return [made = std::move(maker)](const std::string& node) {
    return is_silent(node) ? "" : made(node);
  };
}

std::string triad(const std::string& node) {
  if (node == "node013") return "168.9";
  if (node == "node088") return "171.2";
  return node == "node055" || node.front() == 'g' ? "" : "203.4";
}

run_data run_of(const judgement& judged) {
  run_data run;
  run.run = judged.run;
  for (const node_view& view : judged.nodes) {
    run.nodes.push_back(view.name);
    run.notes.push_back({view.role, view.subcluster, ""});
  }
  return run;
}

}  // namespace

run_data example_run() {
  run_data run = run_of(example_judgement());
  const auto answered = [&run](const std::string& node) {
    return is_silent(node) ? answer_of(answer::missing, run.run,
                                       "ssh: connect to host: Connection "
                                       "timed out")
                           : answer_of(answer::ok, run.run);
  };
  add_provider(run, "bios", "firmware and its settings", answered);
  add_provider(run, "gpu", "graphics processors", [&](const std::string& node) {
    return node.front() == 'g' ? answered(node)
                               : answer_of(answer::not_expected, run.run);
  });
  add_provider(run, "memory", "memory modules", answered);
  add_provider(run, "stream", "memory bandwidth", [&](const std::string& node) {
    return node == "node055" ? answer_of(answer::timed_out, run.run,
                                         "stopped after 300 s (limit 300 s)")
                             : answered(node);
  });
  add_fact(run, "bios.release", "bios", {},
           unless_silent([](const std::string& node) {
             return has_old_bios(node) ? "2024-06-11" : "2025-04-02";
           }));
  add_fact(run, "bios.version", "bios", {},
           unless_silent([](const std::string& node) {
             return has_old_bios(node) ? "2.3" : "2.5";
           }));
  add_fact(run, "gpu.modules", "gpu",
           {facts::value_type::list, {}, facts::comparison::equal, ""},
           [](const std::string& node) {
             if (node.front() != 'g') return "";
             return node == "gpu03" ? "nvidia\nnvidia_uvm"
                                    : "nvidia\nnvidia_drm\nnvidia_uvm";
           });
  add_fact(run, "mem.total", "memory",
           {facts::value_type::integer, facts::better::higher,
            facts::comparison::equal, "GiB"},
           unless_silent([](const std::string& node) {
             if (node.front() == 'g') return "1024";
             return node == "node071" ? "224" : "256";
           }));
  add_fact(run, "stream.triad", "stream",
           numeric("GB/s", facts::better::higher), unless_silent(triad));
  return run;
}

}  // namespace zelk::check
