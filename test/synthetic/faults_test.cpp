#include "test/synthetic/faults.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/check/judge/glob.h"
#include "src/common/facts/declaration.h"

namespace zelk::synthetic {
namespace {

constexpr char folder[] = ZELK_SOURCE_DIR "/test/synthetic";
constexpr char schema[] = ZELK_SOURCE_DIR "/share/zelkara/description.xsd";

std::vector<const fault*> every_fault() {
  std::vector<const fault*> all;
  for (const fault& each : all_faults())
    all.push_back(&each);
  return all;
}

cluster made(std::size_t nodes) {
  return {{.nodes = nodes}, folder};
}

const facts::declaration& description_of(const std::string& provider) {
  static std::map<std::string, std::shared_ptr<const facts::declaration>> read;
  auto& known = read[provider];
  if (!known)
    known = facts::declaration::read(
        ZELK_SOURCE_DIR "/etc/providers/" + provider + ".xml", schema);
  return *known;
}

using values = std::map<std::string, std::string>;

values facts_of(const std::string& provider, const answer& given) {
  values found;
  for (const facts::fact& each :
       description_of(provider)
           .read_output(given.output, given.exit_status)
           .facts)
    found[each.name] = facts::text_of(each.value);
  return found;
}

bool is_changed(const values& in, const values& against,
                const std::vector<std::string>& patterns) {
  return std::any_of(in.begin(), in.end(), [&](const auto& each) {
    const auto other = against.find(each.first);
    return check::matches_any(patterns, each.first) &&
           (other == against.end() || other->second != each.second);
  });
}

// Whether a fact that must be named in the finding is another than on a healthy
// machine, or missing.
bool shows(const cluster& in, const planted& fault, std::size_t node) {
  const auto healthy = in.ask_all(node, in.at(node, 1));
  const auto ill = answers_of(in, {fault}, node, 1, true);
  for (std::size_t i = 0; i < ill.size(); ++i) {
    const std::string& provider = in.providers()[i];
    if (ill[i].output == healthy[i].output) continue;
    const values now = facts_of(provider, ill[i]);
    const values before = facts_of(provider, healthy[i]);
    const auto& patterns = fault.what->say.facts;
    if (is_changed(now, before, patterns) || is_changed(before, now, patterns))
      return true;
  }
  return false;
}

bool is_silence(const fault& what) {
  return what.say.answer || what.name == "silent";
}

TEST(faults, are_of_many_kinds_under_names_of_their_own) {
  std::set<std::string> names;
  for (const fault& each : all_faults()) {
    EXPECT_TRUE(names.insert(each.name).second) << each.name;
    EXPECT_FALSE(each.what.empty() || each.classes.empty()) << each.name;
    EXPECT_FALSE(each.say.checks.empty() && each.say.facts.empty() &&
                 !each.say.answer)
        << each.name;
  }
  EXPECT_GE(names.size(), 60U);
}

TEST(faults, show_in_the_facts_that_have_to_be_named) {
  const cluster in = made(1000);
  for (const planted& each : plant(in, every_fault(), chance(1))) {
    if (is_silence(*each.what)) continue;
    EXPECT_TRUE(shows(in, each, each.nodes.back())) << each.what->name;
  }
}

TEST(faults, that_are_an_answer_make_it) {
  const cluster in = made(1000);
  for (const planted& each : plant(in, every_fault(), chance(1))) {
    if (!each.what->say.answer) continue;
    SCOPED_TRACE(each.what->name);
    const auto answers = answers_of(in, {each}, each.nodes.front(), 1, true);
    const answer& given = answers[in.provider_number(each.what->say.provider)];
    EXPECT_TRUE(!given.came || given.exit_status != 0);
  }
}

TEST(faults, find_room_on_a_thousand_machines_each_on_its_own) {
  const cluster in = made(1000);
  const auto faults = plant(in, every_fault(), chance(1));
  EXPECT_EQ(faults.size(), all_faults().size());
  std::set<std::size_t> taken;
  for (const planted& each : faults) {
    if (each.what->reach == spread::half_class ||
        each.what->reach == spread::all_compute)
      continue;
    EXPECT_EQ(each.nodes.size(), each.what->reach == spread::two ? 2U : 1U);
    for (const std::size_t node : each.nodes)
      EXPECT_TRUE(taken.insert(node).second) << each.what->name;
  }
}

TEST(faults, leave_most_of_a_small_cluster_healthy) {
  const cluster in = made(64);
  std::map<std::string, std::size_t> ill;
  for (const planted& each : plant(in, every_fault(), chance(1))) {
    if (each.what->reach == spread::one || each.what->reach == spread::two)
      ill[in.class_of(each.nodes.front()).name] += each.nodes.size();
  }
  for (const auto& [name, machines] : ill)
    EXPECT_LE(machines * 5, in.members_of(name).size() * 2) << name;
  EXPECT_FALSE(ill.contains("fat"));
}

TEST(faults, are_there_before_or_come_with_the_last_run) {
  const cluster in = made(1000);
  for (const planted& each : plant(in, every_fault(), chance(1))) {
    const std::size_t node = each.nodes.back();
    const auto healthy = in.ask_all(node, in.at(node, 0));
    const auto ill = answers_of(in, {each}, node, 0, false);
    bool differs = false;
    for (std::size_t i = 0; i < ill.size(); ++i)
      differs = differs || ill[i].output != healthy[i].output ||
                ill[i].exit_status != healthy[i].exit_status;
    EXPECT_EQ(differs, each.what->since == onset::before) << each.what->name;
  }
}

// What plants nothing is noticed.
TEST(patient, refuses_a_change_that_finds_nothing) {
  const cluster in = made(64);
  auto answers = in.ask_all(0, in.at(0, 0));
  const std::vector<std::size_t> alone = {0};
  patient ill(in, 0, in.at(0, 0), alone, answers);
  EXPECT_THROW(ill.set("sysctl", "/proc/sys/vm/no_such", "1"),
               std::runtime_error);
  EXPECT_THROW(ill.set("net_routes_dns", "/etc/hosts", "1"),
               std::runtime_error);
  EXPECT_THROW(ill.replace("sysctl", "no such text", ""), std::runtime_error);
  EXPECT_THROW(ill.remove("packages", "package: no-such"), std::runtime_error);
  EXPECT_THROW(ill.scale("stream_triad", "no.such", 2), std::runtime_error);
  EXPECT_THROW(ill.end("no_such_provider", 1, ""), std::runtime_error);
}

}  // namespace
}  // namespace zelk::synthetic
