// Commands for a batch system, to be read, and then perhaps run.
//
// A reason is short and begins with our name: sinfo -R shows 20 characters of
// it, and whoever puts a node back must see who took it out. What stands in a
// command is made from names of the tamest kind only; a node set is quoted
// because a shell would look for files that match its brackets.

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "src/check/report/phrases.h"
#include "src/check/report/writer.h"
#include "src/common/facts/units.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_reason = 20;
constexpr char owner[] = "zelk:";

// "-16G" of a number of bytes, with the largest prefix that leaves one digit.
std::string bytes_word(double bytes) {
  constexpr std::string_view prefixes = "BKMGTP";
  constexpr double step = 1024;
  std::size_t prefix = 0;
  while (std::abs(bytes) >= step && prefix + 1 < prefixes.size()) {
    bytes /= step;
    ++prefix;
  }
  return fmt::format("{:+.0f}{}", bytes, prefixes[prefix]);
}

// "-32G" of sizes, "-17%" of what else there is a distance of; of the node that
// is farthest off.
std::string distance_word(const finding& found) {
  const node_value* worst = nullptr;
  for (const node_value& value : found.values)
    if (value.delta_percent && std::isfinite(*value.delta_percent) &&
        (worst == nullptr ||
         std::abs(*value.delta_percent) > std::abs(*worst->delta_percent)))
      worst = &value;
  if (worst == nullptr) return "";
  const std::optional<facts::unit> unit = facts::unit_of(found.unit);
  if (unit && unit->dimension == "B" && worst->number && found.median &&
      std::isfinite(*worst->number) && std::isfinite(*found.median))
    return bytes_word((*worst->number - *found.median) * unit->factor);
  return std::abs(*worst->delta_percent) < 1
             ? ""
             : fmt::format("{:+.0f}%", *worst->delta_percent);
}

// Slurm takes ALL for every node of the cluster and DEFAULT for a template.
bool is_node_name(const std::string& name) {
  std::string upper = name;
  for (char& c : upper)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return fits_a_command(name) && upper != "ALL" && upper != "DEFAULT";
}

// Of an id or a word nothing but what fits_a_command() takes.
std::string reason_of(const finding& found) {
  std::string word = found.drain_word.empty() ? found.check : found.drain_word;
  if (!fits_a_command(word)) word = "finding";
  std::string reason = owner + word;
  if (reason.size() > most_reason) return reason.substr(0, most_reason);
  const std::string distance = distance_word(found);
  if (!distance.empty() && reason.size() + 1 + distance.size() <= most_reason)
    reason += " " + distance;
  return reason;
}

std::string quoted_set(const std::vector<std::string>& nodes) {
  const std::string names = node_set_text(nodes);
  const bool plain = names.find_first_of("[],") == std::string::npos;
  return plain ? names : '"' + names + '"';
}

void write_command(const std::vector<std::string>& nodes,
                   const std::string& reason, batch_system batch,
                   std::ostream& out) {
  switch (batch) {
    case batch_system::slurm:
      out << fmt::format(
          "scontrol update nodename={} state=drain reason=\"{}\"\n",
          quoted_set(nodes), reason);
  }
}

// The number of nodes among which a finding was made.
std::size_t size_of_class(const judgement& judged, const finding& found) {
  for (const class_view& each : judged.classes)
    if (each.name == found.class_name) return each.nodes.size();
  return judged.nodes.size();
}

class drain_writer {
 public:
  drain_writer(const judgement& judged, batch_system batch, std::ostream& out)
      : judged_(judged), batch_(batch), out_(out) {}

  // Nodes that stood in an earlier line are left out.
  void add(const finding& found) {
    // A rule that most nodes break, or a class in two halves, is a question for
    // people: half a cluster must not go for it.
    if (found.nodes.size() > 1 &&
        2 * found.nodes.size() >= size_of_class(judged_, found)) {
      out_ << fmt::format("# {}: {}; half of its class or more, left out\n",
                          node_set_text(found.nodes),
                          excerpt_of(found.check, 60));
      return;
    }
    std::vector<std::string> nodes;
    for (const std::string& name : found.nodes)
      if (!is_node_name(name))
        unsafe_.insert(name);
      else if (known_.insert(name).second)
        nodes.push_back(name);
    if (nodes.empty()) return;
    write_command(nodes, reason_of(found), batch_, out_);
    ++commands_;
  }

  // A finding that tells of no trouble of the node's own.
  void add_gap(const finding& found) {
    const bool silent = found.check == "no-answer";
    out_ << fmt::format(
        "# {}: {}\n", node_set_text(found.nodes),
        silent ? "no answer; slurm reports such nodes as down* itself"
               : excerpt_of(found.check, 60) +
                     "; could not be judged, so there is no reason to drain");
  }

  void end() {
    std::vector<std::string> names(unsafe_.begin(), unsafe_.end());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
      out_ << "# left out, not a plain name: " << text::visible_text(name)
           << '\n';
    if (commands_ == 0) out_ << "# nothing to drain\n";
  }

 private:
  const judgement& judged_;
  batch_system batch_;
  std::ostream& out_;
  std::unordered_set<std::string> known_, unsafe_;
  std::size_t commands_ = 0;
};

}  // namespace

void write_drain_commands(const judgement& judged,
                          const report_options& options, std::ostream& out) {
  report_options chosen = options;
  chosen.order = report_order::severity;
  chosen.min_severity = std::max(
      options.min_severity.value_or(severity::critical), severity::warning);
  const std::vector<const finding*> shown = shown_findings(judged, chosen);
  out << "# printed only; review, then pipe to sh\n";
  drain_writer writer(judged, options.batch, out);
  for (const finding* found : shown)
    if (!is_gap(*found)) writer.add(*found);
  for (const finding* found : shown)
    if (is_gap(*found)) writer.add_gap(*found);
  writer.end();
}

}  // namespace zelk::check
