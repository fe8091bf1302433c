#include "src/collect/src/accumulate/summary.h"

#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

using lines = std::vector<std::string>;
using nlohmann::json;

struct summary_test : public ::testing::Test {
  summary_test() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    run ended;
    ended.number = 413;
    ended.label = "nightly";
    ended.state = run_state::partial;
    ended.started_usec = 1'763'690'400'000'000;
    ended.ended_usec = 1'763'690'760'000'000;
    ended.nodes = 5;
    ended.nodes_answered = 2;
    ended.nodes_expected = 4;
    ended.results = 7;
    report.number = 413;
    report.ended = ended;
    report.missing = {{{"node3", "", ""}, "no result arrived"},
                      {{"node4", "", ""}, "no result arrived"},
                      {{"node1", "stream", "quick"}, "timed out"}};
  }

  run_report report;
};

TEST_F(summary_test, tells_of_a_scan_as_people_read_it) {
  scan_summary summary;
  summary.files.stored = 1207;
  summary.files.writing = 2;
  summary.files.refused = 1;
  summary.files.refusals = {{"ZELK_MEMORY_node020_1763690712__kQ3xAb",
                             "header says 7340 bytes of output, file has 5120",
                             "/spool/bad"}};
  summary.files.by_run[413] = 1207;
  report.missing.clear();
  summary.runs = {report};
  EXPECT_EQ(text_of(summary),
            "1210 files: 1207 stored, 2 still being written (locked), 1 "
            "refused\n"
            "  refused: ZELK_MEMORY_node020_1763690712__kQ3xAb   header says "
            "7340 bytes of output, file has 5120 (moved to /spool/bad)\n"
            "run 413 from 1207 results, 5 nodes, 2025-11-21 02:00..02:06\n");
  const json document = json::parse(json_of(summary));
  EXPECT_EQ(document["schema"], "zelkara.accumulate/1");
  EXPECT_EQ(document["stored"], 1207);
  EXPECT_EQ(document["runs"][0]["id"], 413);
  EXPECT_EQ(document["runs"][0]["start"], "2025-11-21T02:00:00+00:00");
  EXPECT_EQ(document["refusals"][0]["moved_to"], "/spool/bad");
}

TEST_F(summary_test, tells_of_a_listen_and_what_is_missing) {
  listen_summary summary;
  summary.counts.received = 9;
  summary.counts.stored = 7;
  summary.counts.duplicates = 2;
  summary.counts.stored_bytes = 3 << 20;
  summary.refused[static_cast<std::size_t>(refusal::malformed)] = 3;
  summary.refused[static_cast<std::size_t>(refusal::cut_off)] = 1;
  summary.run = report;
  summary.seconds = 1.25;
  EXPECT_EQ(text_of(summary),
            "9 records received: 7 stored, 2 stored before (3.0 MiB, 1.2 s)\n"
            "  refused: 3 malformed, 1 cut off\n"
            "run 413 \"nightly\" is partial: 7 results, 2 of 4 nodes +3 "
            "not expected\n"
            "  missing: node[3-4] (2)  no result arrived\n"
            "  missing: node1 (1)  stream:quick  timed out\n");
  const json document = json::parse(json_of(summary));
  EXPECT_EQ(document["refused"]["malformed"], 3);
  EXPECT_EQ(document["run"]["state"], "partial");
  EXPECT_EQ(document["run"]["nodes_answered"], 2);
  EXPECT_EQ(document["run"]["nodes_not_expected"], 3);
  EXPECT_EQ(document["run"]["missing"][0]["nodeset"], "node[3-4]");
}

TEST_F(summary_test, counts_what_was_not_named) {
  report.missing.clear();
  report.ended->results_expected = 10;
  EXPECT_EQ(unnamed_missing(report), 3);
  listen_summary summary;
  summary.run = report;
  EXPECT_NE(text_of(summary).find("missing: 3 of 10 results"),
            std::string::npos);
  report.ended.reset();
  EXPECT_EQ(unnamed_missing(report), 0);
}

// A host name is foreign text, and JSON is UTF-8.
TEST_F(summary_test, makes_a_document_of_any_bytes) {
  scan_summary summary;
  summary.files.refusals = {{"ZELK_\xff\"\n", "\xc3", ""}};
  EXPECT_TRUE(json::accept(json_of(summary)));
}

TEST(unsaved_advice, names_the_run_that_they_belong_to) {
  EXPECT_EQ(unsaved_advice(3, "/x/it's here", 412, "/x/zelk.db"),
            "3 records could not be stored in time and lie in '/x/it's here'; "
            "this takes them into the run: zelk-accumulate scan --run 412 --db "
            "'/x/zelk.db' '/x/it'\\''s here'");
  EXPECT_EQ(unsaved_advice(1, "u", 0, "z.db"),
            "1 record could not be stored in time and lies in 'u'; this takes "
            "it into a run: zelk-accumulate scan --db 'z.db' 'u'");
}

TEST(size_text, uses_the_largest_unit) {
  EXPECT_EQ(size_text(0), "0 B");
  EXPECT_EQ(size_text(1023), "1023 B");
  EXPECT_EQ(size_text(1536), "1.5 KiB");
  EXPECT_EQ(size_text(std::uint64_t{160} << 20), "160.0 MiB");
}

TEST(count_of, knows_the_plural) {
  EXPECT_EQ(count_of(0, "record"), "0 records");
  EXPECT_EQ(count_of(1, "record"), "1 record");
}

}  // namespace
}  // namespace zelk::accumulate
