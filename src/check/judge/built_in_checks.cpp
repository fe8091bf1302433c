#include "src/check/judge/built_in_checks.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace zelk::check {

namespace {

check_definition made(const char* id, const char* title, int score) {
  check_definition result;
  result.id = id;
  result.title = title;
  result.score = score;
  result.what.kind = rule::value;
  return result;
}

check_definition no_answer() {
  check_definition check = made(
      built_in::no_answer, "results that were expected and did not come", 50);
  check.causes = {"the node is down, hangs, or its network does",
                  "the login fails, or a host key has changed",
                  "the worker was killed, or its result was lost on the way"};
  check.advice = {"ping and ssh to NODES",
                  "look at the node's console and its management controller",
                  "zelk-collect --doctor -w NODES"};
  check.explain =
      "A node of which not one result came is critical, or what --unreachable "
      "says; one of which some came and some did not is a warning.\n\n"
      "No answer is never taken for a good one: nothing else is said of the "
      "node.";
  check.drain_word = "no-answer";
  return check;
}

check_definition timed_out() {
  check_definition check =
      made(built_in::timed_out, "stopped at its time limit", 50);
  check.causes = {"a file system or a device that does not answer",
                  "a machine that is busy with something else",
                  "a limit that is too short for this machine"};
  check.advice = {
      "look for tasks in state D on NODES: ps -eo pid,stat,wchan,cmd",
      "where the limit stands: <timeout> of the provider's description, over "
      "it the option set's or collect's in zelk.xml, over all --timeout of "
      "zelk-collect"};
  check.explain =
      "What was to be measured is not known: it is neither good nor bad.";
  return check;
}

check_definition failed() {
  check_definition check =
      made(built_in::failed, "ended with an error of its own", 40);
  check.causes = {"something that the provider needs is broken on the node",
                  "the provider itself has a fault, if it fails everywhere"};
  check.advice = {"zelk-check --show node NODES",
                  "run the provider's command by hand on NODES"};
  check.explain =
      "The provider ran and ended with a status that stands for none of its "
      "answers, or by a signal. What was to be measured is not known.";
  return check;
}

check_definition incomplete() {
  check_definition check =
      made(built_in::incomplete, "answered only in part", 20);
  check.causes = {"a tool gave no answer, or some files could not be read"};
  check.advice = {"zelk-check --show node NODES"};
  check.explain =
      "What the provider says is right and is judged, but it is not all: a "
      "fact that is not there is not taken for missing.";
  return check;
}

check_definition unreadable() {
  check_definition check =
      made(built_in::unreadable, "output that could not be read", 40);
  check.causes = {
      "a tool of the provider printed nothing, or something else than usual",
      "the output was cut off on its way",
      "the provider is newer or older than its description"};
  check.advice = {"zelk-check --show node NODES",
                  "run the provider's command by hand on NODES"};
  check.explain =
      "The provider ended well, and not one fact could be read in what it "
      "said. What was to be measured is neither good nor bad: it is not "
      "known.\n\n"
      "Where no node's output can be read, the nodes have nothing to do with "
      "it. It is informational for a provider that has no description.";
  return check;
}

check_definition stale() {
  check_definition check =
      made(built_in::stale, "results that are too old to be judged", 30);
  check.causes = {"nothing was collected for a long time"};
  check.advice = {"zelk-collect -w NODES", "--max-age says how old is too old"};
  check.explain = "A result over the limit says nothing about the node of now.";
  return check;
}

check_definition counters_reset() {
  check_definition check =
      made(built_in::counters_reset, "counters that went back", 15);
  check.causes = {"the node was restarted", "somebody cleared the counters",
                  "a driver was loaded anew, or a part was replaced"};
  check.advice = {"last -x on NODES tells when it was restarted"};
  check.explain =
      "Counters only grow. One that is lower than in the baseline was started "
      "anew in between, so its growth is not known.";
  return check;
}

check_definition tool_missing() {
  check_definition check = made(built_in::tool_missing,
                                "lacks a tool that the node's peers have", 30);
  check.causes = {"a package was not installed, or was removed",
                  "the node was installed from another image"};
  check.advice = {"zelk-collect --doctor -w NODES"};
  check.explain =
      "The provider could not run for want of a tool, where it ran on most "
      "nodes of the same class. What was to be measured is not known. Where "
      "most nodes lack the tool it is no finding: that stands under what was "
      "not judged.";
  return check;
}

check_definition no_permission() {
  check_definition check = made(built_in::no_permission,
                                "may not read what the node's peers may", 30);
  check.causes = {"another user, group or sudo rule than on other nodes",
                  "the node was installed from another image"};
  check.advice = {"zelk-collect --doctor -w NODES"};
  check.explain =
      "The provider had no permission, where it ran on most nodes of the same "
      "class. What was to be measured is not known. Where most nodes refuse it "
      "is no finding: that stands under what was not judged.";
  return check;
}

check_definition clock_of_result() {
  check_definition check =
      made(built_in::clock_of_result, "results dated outside of their run", 55);
  check.causes = {"the node's clock is wrong by more than an hour",
                  "the clock of the machine that collects is"};
  check.advice = {"date on NODES", "chronyc sources on NODES"};
  check.explain =
      "A result carries the time of the node's own clock. One that is more "
      "than an hour before its run began or after it ended was dated by a "
      "wrong clock. Its age is then taken from the run.";
  return check;
}

check_definition given_limit() {
  check_definition check =
      made(built_in::limit, "outside of a limit of the command line", 60);
  check.what.kind = rule::range;
  check.explain = "The limits given with --limit, METRIC=RANGE.";
  return check;
}

constexpr std::int64_t warning_state = 1;
constexpr std::int64_t critical_state = 2;

}  // namespace

int score_of_state(std::int64_t state) {
  constexpr int critical = 85, warning = 60, cannot_tell = 45;
  if (state == critical_state) return critical;
  return state == warning_state ? warning : cannot_tell;
}

namespace {

struct generic_text {
  const char* ending;
  rule kind;
  int score;
  const char* title;  // behind the provider's name
  const char* cause;
  const char* explain;
};

const std::array<generic_text, 6> generic_texts = {{
    {generic::differs, rule::differs, 40, "not like the node's peers",
     "a node that was installed, repaired or changed apart from its peers",
     "A fact that its description declares to be equal is not what more than "
     "half of the nodes of the class have, or a node lacks what they have. "
     "Without such a majority, it is one finding that names the groups."},
    {generic::outlier, rule::peers, 40, "far from the node's peers",
     "a part that is slower, hotter or smaller than on other nodes",
     "The value is far from the median of the class: by the robust z (median "
     "and MAD) and by a least effect, on the side that its description says is "
     "bad."},
    {generic::not_unique, rule::unique, 50, "the same on several nodes",
     "a system that was copied with its identity",
     "A fact that its description declares to be unique has one value on more "
     "than one node."},
    {generic::grew, rule::growth, 35, "a counter that grew more than others",
     "errors that go on",
     "The counter has grown since the baseline, by far more than on the nodes "
     "of the same class."},
    {generic::changed, rule::changed, 15, "not as in the baseline",
     "an update, or a change by hand",
     "The value is not that of the baseline, and nothing else is wrong with "
     "it. A change on more than half of the nodes is one finding."},
    {generic::state, rule::value, score_of_state(critical_state),
     "says that something is wrong", "what the check's own words name",
     "A monitoring plugin, or a fact that its description declares to be a "
     "state, says itself how things are: 0 is fine, 1 a warning, 2 critical. "
     "Any other says that it could not tell, which is a warning too."},
}};

}  // namespace

std::vector<check_definition> built_in_checks() {
  return {no_answer(),     timed_out(),       failed(),         incomplete(),
          unreadable(),    stale(),           counters_reset(), tool_missing(),
          no_permission(), clock_of_result(), given_limit()};
}

std::optional<check_definition> generic_check(std::string_view id) {
  for (const generic_text& text : generic_texts) {
    const std::string_view ending = text.ending;
    if (id.size() <= ending.size() || !id.ends_with(ending)) continue;
    const std::string provider(id.substr(0, id.size() - ending.size()));
    check_definition result;
    result.id = id;
    result.title = provider + ": " + text.title;
    result.score = text.score;
    result.what.kind = text.kind;
    result.causes = {text.cause};
    result.advice = {"zelk-check --explain " + result.id,
                     "zelk-check --show node NODES"};
    result.explain = text.explain;
    return result;
  }
  return std::nullopt;
}

std::string generic_id(std::string_view provider, std::string_view ending) {
  std::string result(provider);
  std::replace(result.begin(), result.end(), '_', '-');
  return result.append(ending);
}

}  // namespace zelk::check
