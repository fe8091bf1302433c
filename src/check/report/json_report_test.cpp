#include <limits>
#include <locale>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

using json = nlohmann::json;

json parsed(const judgement& judged, const report_options& options = {}) {
  return json::parse(report_of(judged, report_form::json, options));
}

// Complaints of the schema that is shipped, a line each.
std::string complaints(const std::string& document) {
  const ended_program ended = run_python(
      "import json,sys,jsonschema\n"
      "def refuse(word): raise ValueError(word)\n"
      "document = json.load(sys.stdin, parse_constant=refuse)\n"
      "schema = json.load(open(\"" ZELK_SOURCE_DIR
      "/share/zelkara/schema/check-1.json\"))\n"
      "jsonschema.Draft7Validator.check_schema(schema)\n"
      "for error in jsonschema.Draft7Validator(schema).iter_errors(document):\n"
      "  print(list(error.path), error.message[:300])",
      document);
  return ended.status == 0 ? ended.output : "status: " + ended.output;
}

TEST(json_report, is_valid_by_the_schema_that_is_shipped) {
  if (!python_has("jsonschema")) GTEST_SKIP() << "no python3-jsonschema";
  report_options options;
  options.version = "0.1.0";
  for (const judgement& judged : {example_judgement(), hostile_judgement(),
                                  large_judgement(200), judgement{}})
    EXPECT_EQ(complaints(report_of(judged, report_form::json, options)), "");
}

// The check above would be worth nothing if the schema let everything through.
TEST(json_report, has_a_schema_that_refuses_what_is_not_its_own) {
  if (!python_has("jsonschema")) GTEST_SKIP() << "no python3-jsonschema";
  json document = parsed(example_judgement());
  document["findings"][0]["severity"] = "awful";
  document["nodes"][0]["cells"]["kernel"] = nullptr;
  document["extra"] = 1;
  const std::string found = complaints(document.dump());
  EXPECT_TRUE(holds(found, "'awful' is not one of"));
  EXPECT_TRUE(holds(found, "None is not one of"));
  EXPECT_TRUE(holds(found, "'extra' was unexpected"));
}

TEST(json_report, tells_for_which_nodes_a_finding_is_accepted) {
  judgement judged = example_judgement();
  judged.findings[1].nodes = {"node071", "a b"};
  judged.findings[1].accepted_nodes = {"a b", "node071"};
  const json document = parsed(judged);
  const json found = document["findings"][1];
  EXPECT_EQ(found["accepted_on"]["nodes"].size(), 2);
  EXPECT_EQ(found["accepted_on"]["nodeset"], "node071");
  EXPECT_EQ(found["nodeset"], "node071");
  EXPECT_EQ(found["nodes"][1], "a b");
  if (!python_has("jsonschema")) GTEST_SKIP() << "no python3-jsonschema";
  EXPECT_EQ(complaints(report_of(judged, report_form::json)), "");
}

TEST(json_report, has_numbers_beside_words_for_people) {
  judgement judged = example_judgement();
  finding& found = judged.findings[1];
  found.unit = "KiB";
  found.reference = "256 GiB";
  found.reference_number = 268435456;
  found.values = {{"node071", "224 GiB", "", 234881024, {}, {}},
                  {"node072", "3 GHz", "", 3000, {}, {}}};
  found.values[1].fact = "cpu.clock";
  found.values[1].unit = "MHz";
  found.groups = {{"256 GiB", {"node070"}}, {"a text", {"node071"}}};
  found.group_numbers = {268435456, {}};
  found.limit = allowed_numbers{262144000, {}, true, "site.xml:3"};
  const json written = parsed(judged)["findings"][1];
  EXPECT_EQ(written["peers"]["reference"], "256 GiB");
  EXPECT_EQ(written["peers"]["reference_number"], 268435456);
  EXPECT_EQ(written["peers"]["unit"], "KiB");
  EXPECT_EQ(written["values"][0]["value"], 234881024);
  EXPECT_EQ(written["values"][0]["unit"], "KiB");
  EXPECT_EQ(written["values"][1]["metric"], "cpu.clock");
  EXPECT_EQ(written["values"][1]["unit"], "MHz");
  EXPECT_EQ(written["groups"][0]["number"], 268435456);
  EXPECT_EQ(written["groups"][0]["unit"], "KiB");
  EXPECT_FALSE(written["groups"][1].contains("number"));
  EXPECT_EQ(written["limit"], json({{"min", 262144000},
                                    {"inverted", true},
                                    {"unit", "KiB"},
                                    {"set_by", "site.xml:3"}}));
  if (!python_has("jsonschema")) GTEST_SKIP() << "no python3-jsonschema";
  EXPECT_EQ(complaints(report_of(judged, report_form::json)), "");
}

TEST(json_report, tells_the_groups_of_which_nobody_is_blamed) {
  judgement judged = example_judgement();
  judged.findings[1].blames_nobody = true;
  judged.findings[1].groups = {{"20.38", {"node071", "node072"}},
                               {"20.39", {"node073"}}};
  const json document = parsed(judged);
  const json found = document["findings"][1];
  EXPECT_EQ(found["blames_nobody"], true);
  EXPECT_EQ(found["groups"][0]["nodeset"], "node[071-072]");
  EXPECT_EQ(found["groups"][1]["value"], "20.39");
  EXPECT_FALSE(document["findings"][0].contains("groups"));
  if (!python_has("jsonschema")) GTEST_SKIP() << "no python3-jsonschema";
  EXPECT_EQ(complaints(report_of(judged, report_form::json)), "");
}

TEST(json_report, says_what_is_shown_on_a_terminal) {
  const json document = parsed(example_judgement());
  EXPECT_EQ(document["schema"], "zelkara.check/1");
  EXPECT_EQ(document["verdict"], "unhealthy");
  EXPECT_EQ(document["status"], 2);
  EXPECT_EQ(document["run"]["id"], 412);
  EXPECT_EQ(document["run"]["end"], "2025-11-21T02:05:12Z");
  EXPECT_EQ(document["counts"]["healthy"], 125);
  EXPECT_EQ(document["coverage"]["missing"][0]["nodeset"], "node[037,112]");
  const json& low = document["findings"][2];
  EXPECT_EQ(low["id"], "stream-low");
  EXPECT_EQ(low["nodeset"], "node[013,088]");
  EXPECT_EQ(low["nodes"], json({"node013", "node088"}));
  EXPECT_EQ(low["peers"]["median"], 203.4);
  EXPECT_EQ(low["values"][0]["value"], 168.9);
  EXPECT_EQ(low["values"][1]["delta_pct"], -15.8);
  EXPECT_EQ(document["accepted"][0]["accepted"]["who"], "ada");
  EXPECT_EQ(document["nodes"].size(), 136);
}

TEST(json_report, leaves_out_what_is_not_known) {
  const std::string text = report_of(judgement{}, report_form::json);
  EXPECT_FALSE(holds(text, "null"));
  const json document = json::parse(text);
  EXPECT_FALSE(document.contains("baseline"));
  EXPECT_FALSE(document["run"].contains("end"));
  EXPECT_EQ(document["status"], 3);
}

TEST(json_report, has_no_number_that_is_none) {
  const std::string text = report_of(hostile_judgement(), report_form::json);
  for (const char* word : {"null", "NaN", "nan", "Infinity", ":inf", ":-inf"})
    EXPECT_FALSE(holds(text, word)) << word;
}

TEST(json_report, gives_hostile_text_back_as_it_was) {
  const judgement judged = hostile_judgement();
  const json document = parsed(judged);
  ASSERT_EQ(document["findings"].size(), judged.findings.size());
  for (std::size_t i = 0; i < judged.findings.size(); ++i) {
    EXPECT_EQ(document["findings"][i]["id"], judged.findings[i].check);
    EXPECT_EQ(document["findings"][i]["nodes"], judged.findings[i].nodes);
    EXPECT_EQ(document["findings"][i]["message"], judged.findings[i].message);
  }
}

TEST(json_report, is_ascii_that_any_page_and_terminal_can_hold) {
  const std::string text = report_of(hostile_judgement(), report_form::json);
  for (const char c : text)
    ASSERT_TRUE(c == '\n' || (c >= ' ' && c < 0x7f)) << int{c};
}

TEST(json_report, cuts_a_value_of_a_mebibyte_and_says_so) {
  const json document = parsed(hostile_judgement());
  const json& value = document["differences"][0]["groups"][0];
  EXPECT_EQ(value["value"].get<std::string>().size(), 4096);
  EXPECT_EQ(value["value_bytes"], 1024 * 1024);
}

// A byte that is no UTF-8 must not end the program, wherever it comes from.
TEST(json_report, replaces_bytes_that_are_not_text) {
  judgement judged = example_judgement();
  judged.findings[0].message = "bad \xff\xc3 bytes";
  EXPECT_EQ(parsed(judged)["findings"][0]["message"], "bad \ufffd\ufffd bytes");
}

TEST(json_report, shows_what_the_filter_lets_through) {
  report_options options;
  options.min_severity = severity::critical;
  const json document = parsed(example_judgement(), options);
  EXPECT_EQ(document["findings"].size(), 3);
  EXPECT_EQ(document["filter"]["min_severity"], "critical");
  EXPECT_EQ(document["counts"]["suspect"], 6);
}

TEST(json_report, has_a_line_for_each_node_and_finding) {
  const std::vector<std::string> lines =
      lines_of(report_of(example_judgement(), report_form::json));
  std::size_t nodes = 0;
  for (const std::string& line : lines)
    nodes += line.starts_with("    {\"name\":\"node") ? 1 : 0;
  EXPECT_EQ(nodes, 128);
}

// Somebody's German locale must not turn 203.4 into 203,4.
TEST(json_report, does_not_know_of_locales) {
  class commas : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const judgement judged = example_judgement();
  std::vector<std::string> before, after;
  for (const std::string& word : report_form_words())
    before.push_back(report_of(judged, *read_report_form(word)));
  const std::locale old =
      std::locale::global(std::locale(std::locale(), new commas));
  for (const std::string& word : report_form_words())
    after.push_back(report_of(judged, *read_report_form(word)));
  std::locale::global(old);
  EXPECT_EQ(before, after);
}

TEST(json_report, is_the_same_bytes_every_time) {
  EXPECT_EQ(report_of(hostile_judgement(), report_form::json),
            report_of(hostile_judgement(), report_form::json));
}

TEST(json_lines_report, has_one_document_a_line) {
  const std::vector<std::string> lines =
      lines_of(report_of(example_judgement(), report_form::jsonl));
  ASSERT_EQ(lines.size(), 7);
  const json first = json::parse(lines[2]);
  EXPECT_EQ(first["schema"], "zelkara.check/1");
  EXPECT_EQ(first["run"], 412);
  EXPECT_EQ(first["id"], "stream-low");
}

TEST(json_lines_report, keeps_hostile_text_in_its_line) {
  const judgement judged = hostile_judgement();
  const std::vector<std::string> lines =
      lines_of(report_of(judged, report_form::jsonl));
  ASSERT_EQ(lines.size(), judged.findings.size());
  for (std::size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(json::parse(lines[i])["title"], judged.findings[i].title);
}

}  // namespace
}  // namespace zelk::check
