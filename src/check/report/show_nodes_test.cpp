#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

std::string shown(const std::vector<std::string>& names) {
  std::ostringstream out;
  EXPECT_TRUE(
      write_nodes(example_judgement(), example_run(), names, {}, out).empty());
  return out.str();
}

constexpr char node103[] =
    R"(node103  suspect   class B   role compute   subcluster default-subcluster   run 412

FINDINGS  (with the number of nodes that have it)
 ! bios-differs     (4)    2.3; 27 of 31 class B peers have 2.5                   unchanged
                           try: zelk-check --diff bios
 i kernel-changed   (134)  changed on 134 of 134 nodes: 5.14.0-427 -> 5.14.0-503  changed

earlier: suspect in run 385, 391, 405, 409

RESULTS
 PROVIDER  OPTION  ANSWER        ENDED             TOOK  REASON
 bios              ok            2025-11-21 02:01  1.2s
 gpu               not required  -                    -
 memory            ok            2025-11-21 02:01  1.2s
 stream            ok            2025-11-21 02:01  1.2s

FACTS
 FACT          VALUE       PEERS                   PROVIDER
 bios.release  2024-06-11  2025-04-02 on 27 of 31  bios
 bios.version  2.3         2.5 on 27 of 31         bios
 mem.total     256 GiB                             memory
 stream.triad  203.4 GB/s                          stream
)";

TEST(write_nodes, tells_all_that_is_known) {
  EXPECT_EQ(shown({"node103"}), node103);
}

// Of thousands of facts people look for the one.
TEST(write_nodes, counts_what_is_not_wrong_where_lists_are_limited) {
  report_options options;
  options.limit_rows = 20;
  std::ostringstream out;
  write_nodes(example_judgement(), example_run(), {"node103", "node037"},
              options, out);
  EXPECT_TRUE(holds(out.str(),
                    "\nRESULTS\n not listed: 1 not required, 3 ok\n"
                    "\nFACTS\n"
                    " FACT          VALUE       PEERS                   "
                    "PROVIDER\n"
                    " bios.release  2024-06-11  2025-04-02 on 27 of 31  bios\n"
                    " bios.version  2.3         2.5 on 27 of 31         bios\n"
                    " not listed: 2 facts of which nothing is wrong; --all "
                    "lists them\n"))
      << out.str();
  EXPECT_TRUE(holds(out.str(), "  no answer  "))
      << "what did not come is never folded";
}

TEST(write_nodes, lists_a_fact_that_a_finding_is_about) {
  judgement judged = example_judgement();
  finding& found = judged.findings.front();
  found.nodes = {"node103"};
  found.fact = "mem.total";
  found.values = {{"node103", "1", "", {}, {}, {}}};
  found.values.front().fact = "stream.triad";
  report_options options;
  options.limit_rows = 1;
  std::ostringstream out;
  write_nodes(judged, example_run(), {"node103"}, options, out);
  EXPECT_TRUE(holds(out.str(), "\n mem.total "));
  EXPECT_TRUE(holds(out.str(), "\n stream.triad "));
  EXPECT_FALSE(holds(out.str(), "--all"));
}

TEST(write_nodes, tells_what_did_not_come) {
  const std::string text = shown({"node037", "node055"});
  EXPECT_TRUE(holds(text, "node037  unhealthy"));
  EXPECT_TRUE(holds(text, " bios              no answer     -"));
  EXPECT_TRUE(holds(text, "stopped after 300 s (limit 300 s)"));
}

TEST(write_nodes, shows_what_is_accepted_and_what_is_fixed) {
  EXPECT_TRUE(holds(shown({"gpu07"}), "swap-on"));
  EXPECT_TRUE(holds(shown({"gpu03"}), "gpu-ecc"));
}

TEST(write_nodes, says_that_nothing_is_wrong) {
  judgement judged = example_judgement();
  judged.findings.clear();
  std::ostringstream out;
  write_nodes(judged, example_run(), {"node001"}, {}, out);
  EXPECT_TRUE(holds(out.str(), "\nno findings\n"));
}

TEST(write_nodes, gives_back_the_names_that_it_does_not_know) {
  std::ostringstream out;
  EXPECT_EQ(write_nodes(example_judgement(), example_run(),
                        {"node999", "node001", "x"}, {}, out),
            (std::vector<std::string>{"node999", "x"}));
  EXPECT_TRUE(out.str().starts_with("node001  healthy"));
}

}  // namespace
}  // namespace zelk::check
