// What the page says, where it says it, and how often.

#include <sstream>

#include <gtest/gtest.h>

#include "src/check/page/page.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

std::string page_of(const judgement& what, const page_options& options = {}) {
  std::ostringstream out;
  write_page(what, options, out);
  return std::move(out).str();
}

std::string section(const std::string& page, const std::string& id) {
  const std::size_t start = page.find("<section id=\"" + id + '"');
  if (start == std::string::npos) return "";
  return page.substr(start, page.find("</section>", start) - start);
}

std::size_t count_of(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos;
       at += what.size())
    ++count;
  return count;
}

// The text without its markup.
std::string words_of(const std::string& markup) {
  std::string out;
  bool is_tag = false;
  for (const char c : markup) {
    if (c == '<') is_tag = true;
    if (!is_tag) out += c;
    if (c == '>') is_tag = false;
  }
  return out;
}

// Nodes n1 to n8, all healthy.
judgement nodes() {
  judgement out;
  out.overall = verdict::healthy;
  out.counts.healthy = 8;
  out.columns = {"reach", "memory"};
  for (int i = 1; i <= 8; ++i) {
    node_view node;
    node.name = "n" + std::to_string(i);
    node.class_name = "A";
    node.what = verdict::healthy;
    node.cells = {cell_state::ok, cell_state::ok};
    out.nodes.push_back(node);
  }
  return out;
}

finding& add_finding(judgement& to, const std::string& check,
                     std::uint32_t node, severity level = severity::critical) {
  finding one;
  one.check = check;
  one.title = "title of " + check;
  one.level = level;
  one.score = 80;
  one.provider = "memory";
  one.nodes = {"n" + std::to_string(node)};
  one.fingerprint = check + std::to_string(node);
  one.message = "evidence of " + check;
  const auto place = static_cast<std::uint32_t>(to.findings.size());
  to.nodes[node - 1].findings.push_back(place);
  to.nodes[node - 1].what = verdict::unhealthy;
  to.findings.push_back(one);
  return to.findings.back();
}

node_value value(const std::string& node, const std::string& words,
                 double number, const std::string& before = "") {
  node_value out;
  out.node = node;
  out.value = words;
  out.number = number;
  out.before = before;
  return out;
}

TEST(page_values, have_their_unit_once) {
  judgement what = nodes();
  finding& one = add_finding(what, "mem-bad", 1);
  one.nodes = {"n1", "n2"};
  one.unit = "KiB";
  one.values = {value("n1", "12 KiB", 12, "0 KiB"), value("n2", "14", 14)};
  const std::string words = words_of(section(page_of(what), "first"));
  EXPECT_NE(words.find("12 KiB"), std::string::npos);
  EXPECT_NE(words.find("14 KiB"), std::string::npos);
  EXPECT_EQ(words.find("KiB KiB"), std::string::npos);
}

TEST(page_values, are_not_called_a_count) {
  judgement what = nodes();
  finding& one = add_finding(what, "cards", 1);
  one.nodes = {"n1", "n2"};
  one.unit = "count";
  one.values = {value("n1", "3", 3), value("n2", "2", 2)};
  what.differences.push_back({"gpu.cards",
                              "gpu",
                              "",
                              "count",
                              "A",
                              {{"4", {"n2", "n3"}}, {"3", {"n1"}}},
                              std::nullopt});
  distribution cards;
  cards.fact = "gpu.cards";
  cards.unit = "count";
  cards.values = {3, 4, 4, 4};
  cards.median = 4;
  cards.outliers = {value("n1", "3", 3)};
  what.distributions.push_back(cards);
  for (const char* id : {"first", "differences", "performance"})
    EXPECT_EQ(words_of(section(page_of(what), id)).find(" count"),
              std::string::npos)
        << id;
}

TEST(page_values, of_both_sides_of_a_difference_have_the_unit) {
  judgement what = nodes();
  what.differences.push_back({"ib.rate",
                              "ib",
                              "",
                              "Gbit/s",
                              "A",
                              {{"200", {"n2", "n3"}}, {"100", {"n1"}}},
                              std::nullopt});
  const std::string words = words_of(section(page_of(what), "differences"));
  EXPECT_NE(words.find("200 Gbit/s"), std::string::npos);
  EXPECT_NE(words.find("100 Gbit/s"), std::string::npos);
}

TEST(page_cards, do_not_take_a_fixed_limit_for_what_peers_have) {
  judgement what = nodes();
  finding& one = add_finding(what, "ecc", 1);
  one.reference = "limit 0:0";
  one.message = "edac.ue: 1; limit 0:0";
  one.values = {value("n1", "1", 1, "0")};
  const std::string words = words_of(section(page_of(what), "first"));
  EXPECT_EQ(words.find("peers have"), std::string::npos);
  EXPECT_EQ(count_of(words, "limit 0:0"), 1U);
  EXPECT_NE(words.find("before 0"), std::string::npos);
}

TEST(page_cards, name_what_peers_have_where_the_evidence_does_not) {
  judgement what = nodes();
  finding& one = add_finding(what, "mem-size", 1);
  one.reference = "256 GiB";
  one.peers = 7;
  EXPECT_NE(
      words_of(section(page_of(what), "first")).find("peers have 256 GiB (7)"),
      std::string::npos);
  one.message = "224 GiB; 7 of 7 peers have 256 GiB";
  EXPECT_EQ(count_of(section(page_of(what), "first"), "256 GiB"), 1U);
}

TEST(page, tells_the_evidence_of_a_finding_once_in_its_tables) {
  judgement what = nodes();
  what.baseline = run_info();
  for (int i = 0; i < 12; ++i)
    add_finding(what, "check-" + std::to_string(i), 1);
  const std::string page = page_of(what);
  EXPECT_EQ(section(page, "since").find("evidence of"), std::string::npos);
  EXPECT_EQ(section(page, "by-node").find("evidence of"), std::string::npos);
  EXPECT_NE(section(page, "since").find("New: 12"), std::string::npos);
  EXPECT_EQ(count_of(section(page, "first"), "evidence of check-11"), 1U);
}

TEST(page, says_how_much_is_accepted_and_where_it_stands) {
  judgement what = nodes();
  finding one;
  one.check = "disk-failing";
  one.nodes = {"n3"};
  one.accepted = acceptance{1, "disk-failing", {}, "on order", "ops", 0, 0};
  what.accepted.push_back(one);
  const std::string page = page_of(what);
  EXPECT_NE(page.find("<a href=\"#accepted\">1 finding accepted</a>"),
            std::string::npos);
  EXPECT_NE(section(page, "not-judged").find("id=\"accepted\""),
            std::string::npos);
  EXPECT_NE(section(page, "not-judged").find("on order"), std::string::npos);
  EXPECT_NE(section(page, "first").find("but what is accepted: 1 finding"),
            std::string::npos);
}

TEST(page_node_map, says_how_many_findings_a_node_has) {
  judgement what = nodes();
  add_finding(what, "a", 2);
  add_finding(what, "b", 2, severity::warning);
  add_finding(what, "c", 2, severity::informational);
  for (int i = 0; i < 10; ++i)
    add_finding(what, "d", 3);
  const std::string map = section(page_of(what), "nodes");
  EXPECT_EQ(count_of(map, ">2</text>"), 1U);
  EXPECT_EQ(count_of(map, ">9+</text>"), 1U);
  EXPECT_EQ(count_of(map, "</text>"), 2U);
}

TEST(page_node_map, follows_the_order_of_the_racks) {
  page_options options;
  options.node_order = {"n8", "n7", "n1", "n2", "n3"};
  const std::string page = page_of(nodes(), options);
  EXPECT_NE(page.find("data-n=\"n8,n7,n1,n2,n3,n4,n5,n6\""), std::string::npos);
  EXPECT_NE(page_of(nodes()).find("data-n=\"n[1-8]\""), std::string::npos);
}

TEST(page_history, of_nodes_that_were_never_ill_is_a_sentence) {
  judgement what = nodes();
  for (int i = 0; i < 13; ++i) {
    history_entry one;
    one.run.number = i + 1;
    one.counts.healthy = 8;
    what.history.push_back(one);
  }
  const std::string history = section(page_of(what), "history");
  EXPECT_NE(history.find("In the last 13 judged runs every node was healthy."),
            std::string::npos);
  EXPECT_EQ(history.find("<svg"), std::string::npos);
  what.history[4].counts.suspect = 1;
  EXPECT_NE(section(page_of(what), "history").find("<svg"), std::string::npos);
}

TEST(page_made, has_the_hashes_of_files) {
  page_options options;
  options.file_hashes = {{"/etc/checks/memory.xml", "sha256:0f3c"}};
  const std::string made = section(page_of(nodes(), options), "made");
  EXPECT_NE(made.find("/etc/checks/memory.xml"), std::string::npos);
  EXPECT_NE(made.find("sha256:0f3c"), std::string::npos);
}

distribution numbers(const std::string& fact, std::vector<double> values) {
  distribution out;
  out.fact = fact;
  out.provider = "p";
  out.class_name = "A";
  out.values = std::move(values);
  out.median = out.values[out.values.size() / 2];
  out.direction = facts::better::lower;
  return out;
}

TEST(page_performance, calls_nothing_bad_where_all_but_one_are_nought) {
  judgement what = nodes();
  distribution one = numbers("edac.ce", {0, 0, 0, 0, 0, 4711});
  one.outliers = {value("n1", "4711", 4711)};
  what.distributions = {one};
  what.with.min_effect = 5;
  what.with.z = 3.5;
  EXPECT_EQ(section(page_of(what), "performance").find("class=\"shade\""),
            std::string::npos);
  what.distributions[0].median = 10;
  EXPECT_NE(section(page_of(what), "performance").find("class=\"shade\""),
            std::string::npos);
}

TEST(page_performance, draws_once_what_the_same_nodes_stand_out_in) {
  judgement what = nodes();
  for (const char* fact : {"edac.ce", "edac.mc2.ce", "edac.dimm.ce"}) {
    distribution one = numbers(fact, {0, 0, 0, 0, 0, 4711});
    one.outliers = {value("n1", "4711", 4711)};
    what.distributions.push_back(one);
  }
  const std::string page = section(page_of(what), "performance");
  EXPECT_EQ(count_of(page, "<article"), 1U);
  EXPECT_NE(words_of(page).find(
                "The same nodes are far in edac.mc2.ce, edac.dimm.ce"),
            std::string::npos);
}

TEST(page_performance, shows_what_is_usual_where_nothing_stands_out) {
  judgement what = nodes();
  what.distributions = {numbers("stream.node.triad", {1, 2, 3, 4}),
                        numbers("load", {1, 2, 3, 4})};
  what.distributions[1].direction = facts::better::none;
  const std::string page = section(page_of(what), "performance");
  EXPECT_EQ(count_of(page, "<article"), 1U);
  EXPECT_NE(page.find("stream.node.triad"), std::string::npos);
}

TEST(page_figure, of_one_part_is_that_of_all_its_kind) {
  judgement what = nodes();
  what.distributions = {numbers("jitter.cpu*.noise", {1, 2, 3, 4})};
  what.distributions[0].members = 128;
  EXPECT_TRUE(page_figure(what, {}, "dist:jitter.cpu3.noise"));
  EXPECT_FALSE(page_figure(what, {}, "dist:jitter.cpu.noise"));
  EXPECT_FALSE(page_figure(what, {}, "dist:jitter.cpu3.noises"));
  EXPECT_NE(words_of(page_of(what)).find("of each node the worst of 128"),
            std::string::npos);
}

TEST(page_differences, of_many_facts_for_one_reason_are_few_rows) {
  judgement what = nodes();
  for (int i = 0; i < 60; ++i)
    what.differences.push_back({"gpu3.fact" + std::to_string(i),
                                "gpu",
                                "",
                                "",
                                "A",
                                {{"yes", {"n2", "n3"}}, {"", {"n1"}}},
                                1});
  const std::string page = section(page_of(what), "differences");
  const std::size_t folded = page.find("<details");
  ASSERT_NE(folded, std::string::npos);
  EXPECT_EQ(count_of(page.substr(0, folded), "gpu3.fact"), 8U);
  EXPECT_EQ(count_of(page, "gpu3.fact"), 60U);
  EXPECT_NE(page.find("52 more facts"), std::string::npos);
}

}  // namespace
}  // namespace zelk::check
