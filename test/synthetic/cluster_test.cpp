#include "test/synthetic/cluster.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/facts/declaration.h"

namespace zelk::synthetic {
namespace {

namespace fs = std::filesystem;

constexpr char folder[] = ZELK_SOURCE_DIR "/test/synthetic";
constexpr char descriptions[] = ZELK_SOURCE_DIR "/etc/providers";
constexpr char schema[] = ZELK_SOURCE_DIR "/share/zelkara/description.xsd";

cluster made(std::size_t nodes = 64, std::uint64_t seed = 1) {
  return {{.nodes = nodes, .seed = seed}, folder};
}

std::string all_outputs(const cluster& of, std::size_t node,
                        std::uint64_t run) {
  std::string all;
  for (const answer& each : of.ask_all(node, of.at(node, run)))
    all += each.output + each.errors + std::to_string(each.duration);
  return all;
}

TEST(cluster, has_an_output_for_every_provider_description) {
  std::vector<std::string> stems;
  for (const auto& entry : fs::directory_iterator(descriptions))
    stems.push_back(entry.path().stem());
  std::sort(stems.begin(), stems.end());
  EXPECT_EQ(made().providers(), stems);
}

TEST(cluster, has_as_many_machines_as_wanted_under_names_of_their_own) {
  for (const std::size_t nodes : {32U, 64U, 1000U, 12000U}) {
    SCOPED_TRACE(nodes);
    const cluster of = made(nodes);
    EXPECT_EQ(of.machines().size(), nodes);
    std::set<std::string> names;
    for (const machine& each : of.machines())
      names.insert(each.name);
    EXPECT_EQ(names.size(), nodes);
  }
  EXPECT_EQ(made(64).machines().front().name, "node0001");
  EXPECT_EQ(made(12000).machines().back().name, "node12000");
  EXPECT_THROW(made(31), std::runtime_error);
}

TEST(cluster, has_five_classes_of_which_one_has_two_machines) {
  const cluster of = made(64);
  EXPECT_EQ(of.classes().size(), 5U);
  EXPECT_EQ(of.members_of("fat").size(), 2U);
  EXPECT_GT(of.members_of("compute_a").size(), 20U);
  EXPECT_GE(of.members_of("gpu").size(), 5U);
}

TEST(cluster, prints_what_the_descriptions_can_read) {
  const cluster of = made();
  for (std::size_t i = 0; i < of.providers().size(); ++i) {
    SCOPED_TRACE(of.providers()[i]);
    const auto by = facts::declaration::read(
        std::string(descriptions) + "/" + of.providers()[i] + ".xml", schema);
    ASSERT_TRUE(by);
    for (const machine_class& each : of.classes()) {
      SCOPED_TRACE(each.name);
      const std::size_t node = of.members_of(each.name).front();
      const answer given = of.ask(node, i, of.at(node, 0));
      if (!given.expected) continue;
      const auto read = by->read_output(given.output, given.exit_status);
      for (const facts::unread_fact& fact : read.unread)
        EXPECT_TRUE(fact.name.starts_with("raid.drive")) << fact.name;
      EXPECT_EQ(read.facts.empty(), given.exit_status == 80);
    }
  }
}

TEST(cluster, is_the_same_for_the_same_seed_in_whatever_order_it_is_asked) {
  const cluster one = made(), other = made();
  const std::string later = all_outputs(one, 40, 1);
  EXPECT_NE(all_outputs(one, 40, 0), later);
  EXPECT_NE(all_outputs(one, 39, 1), later);
  EXPECT_EQ(all_outputs(other, 40, 1), later);
  EXPECT_NE(all_outputs(made(64, 2), 40, 1), later);
}

TEST(cluster, has_machines_that_are_all_of_one_kind_only) {
  const cluster of = made();
  for (const char* provider :
       {"boot_uptime", "ssh_hostkeys", "net_links", "uname_os"}) {
    SCOPED_TRACE(provider);
    std::set<std::string> outputs;
    for (std::size_t i = 0; i < of.machines().size(); ++i)
      outputs.insert(
          of.ask(i, of.provider_number(provider), of.at(i, 0)).output);
    EXPECT_EQ(outputs.size(), of.machines().size());
  }
}

// The text behind `source` in what `provider` prints.
std::string text_of(const cluster& of, const char* provider,
                    const std::string& source, std::size_t node,
                    std::uint64_t run) {
  const answer given =
      of.ask(node, of.provider_number(provider), of.at(node, run));
  const auto at = given.output.find(source);
  if (at == std::string::npos) return "";
  const auto begin = at + source.size();
  return given.output.substr(begin, given.output.find('\n', begin) - begin);
}

TEST(cluster, has_counters_that_never_go_back) {
  const cluster of = made();
  for (std::size_t node = 0; node < of.machines().size(); ++node) {
    long before = 0;
    for (std::uint64_t run = 0; run < 30; ++run) {
      const long now = std::stol(
          text_of(of, "net_links", "/eno1/statistics/rx_dropped: ", node, run));
      EXPECT_GE(now, before);
      before = now;
    }
    EXPECT_GT(before, 0);
  }
}

// As the machine has it, or its counters would tell of a boot.
TEST(cluster, says_the_same_of_a_boot_everywhere) {
  const cluster of = made();
  for (const std::size_t node : {0U, 63U}) {
    const std::string id = text_of(
        of, "boot_uptime", "/proc/sys/kernel/random/boot_id: ", node, 0);
    EXPECT_EQ(
        text_of(of, "sysctl", "/proc/sys/kernel/random/boot_id: ", node, 1),
        id);
  }
}

TEST(cluster, measures_pairs_of_machines_of_one_class_once) {
  const cluster of = made();
  std::set<std::string> measured;
  for (std::size_t node = 0; node < of.machines().size(); ++node) {
    const answer given =
        of.ask(node, of.provider_number("net_pairs"), of.at(node, 0));
    if (!given.expected) continue;
    EXPECT_GE(given.node_count, 2);
    for (int i = 0; i < given.node_count; ++i) {
      const auto index = node + static_cast<std::size_t>(i);
      EXPECT_TRUE(measured.insert(of.machines()[index].name).second);
      EXPECT_EQ(of.class_of(index).name, of.class_of(node).name);
    }
  }
  EXPECT_GE(measured.size(), 50U);
}

// A figure with a median absolute deviation of 0.5 %, over many machines.
TEST(cluster, has_noise_of_the_size_that_its_templates_say) {
  const cluster of = made(1000);
  std::vector<double> rates;
  for (const std::size_t node : of.members_of("compute_a"))
    rates.push_back(std::stod(
        text_of(of, "stream_triad", "stream.node.triad.best: ", node, 0)));
  const auto middle =
      rates.begin() + static_cast<std::ptrdiff_t>(rates.size() / 2);
  std::nth_element(rates.begin(), middle, rates.end());
  const double median = *middle;
  EXPECT_NEAR(median, 412000, 412000 * 0.002);
  for (double& each : rates)
    each = std::abs(each - median);
  std::nth_element(rates.begin(), middle, rates.end());
  EXPECT_NEAR(*middle / median, 0.005, 0.001);
}

}  // namespace
}  // namespace zelk::synthetic
