#include "src/collect/src/utils/extension_output.h"

#include <chrono>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using lines = std::vector<std::string>;
using names = std::map<std::string, std::string>;
using labels = std::set<std::string>;

constexpr char opening[] =
    "Zelkara requires a readable and writable shared directory across all "
    "nodes. The shared directory /shared";
constexpr char make_shared[] =
    "Make the directory /shared shared on all the nodes, or set the Zelkara "
    "environment variable ZELK_SHARED_TEMP_DIR to a different shared directory "
    "that is readable and writable on all nodes\n";

std::string ok(const std::string& label, const std::string& inode) {
  return label + ": ZELK_PRECHECK_OK\n" + label + ": #####SHAREDDIR_INODE " +
         inode + "#####\n";
}

struct verdict {
  bool usable = false;
  names hostnames;
  std::string log;
};

verdict judge(const std::string& output, const labels& nodes, int mode = 1) {
  verdict result;
  result.hostnames = {{"stale", "entry"}};
  const log::captured_log log(log::level_error);
  result.usable = process_extension_output(output, nodes, result.hostnames,
                                           "/shared", mode);
  result.log = log.text();
  return result;
}

std::string undetected(const std::string& nodes) {
  return "Zelkara requires a readable and writable shared directory across all "
         "nodes but was unable to detect if /shared meets all these "
         "requirements on the nodes: " +
         nodes +
         ".\n"
         "If the directory is not readable, writable and shared, data "
         "collection may fail.\n"
         "To correctly detect the status of this directory, please ensure that "
         "the tool \"stat\" is installed and available.\n"
         "If the data collection fails, make the /shared readable, writable, "
         "and shared, or set the Zelkara environment variable "
         "ZELK_SHARED_TEMP_DIR to a different shared directory that is.\n";
}

TEST(process_extension_output, is_content_when_all_see_the_same_directory) {
  const verdict result =
      judge("n1: #####ZELK_HOSTNAME n1#####\n" + ok("n1", "17") +
                "n2: #####ZELK_HOSTNAME n2.cluster#####\n" + ok("n2", "17"),
            {"n1", "n2"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log, "");
  EXPECT_EQ(result.hostnames, (names{{"n2", "n2.cluster"}}));
}

TEST(process_extension_output, has_no_verdict_without_nodes) {
  const verdict result = judge(ok("n1", "17"), {});
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(result.log, "");
  EXPECT_EQ(result.hostnames, names{});
}

TEST(process_extension_output, names_the_nodes_without_the_directory) {
  const verdict result =
      judge("n3: ZELK_PRECHECK_ND\n" + ok("n2", "17") +
                "n1: ZELK_PRECHECK_ND\nn10: ZELK_PRECHECK_ND\n",
            {"n1", "n2", "n3", "n10"});
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(result.log,
            std::string(opening) +
                " does not exist on certain nodes. Make the directory shared, "
                "readable and writable on nodes : n[1,3,10].\n");
}

TEST(process_extension_output, names_the_nodes_that_must_not_use_it) {
  const verdict result =
      judge(ok("n1", "17") +
                "n2: ZELK_PRECHECK_NON_RW\nn2: #####SHAREDDIR_INODE 17#####\n",
            {"n1", "n2"});
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(result.log,
            std::string(opening) +
                " is not having right permissions. Make the directory shared, "
                "readable and writable on nodes : n2.\n");
}

TEST(process_extension_output, reports_a_directory_that_each_has_for_itself) {
  const verdict result = judge(ok("n1", "17") + ok("n2", "18"), {"n1", "n2"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log,
            std::string(opening) +
                " has unique inode values across the nodes, meaning that it is "
                "not shared across all nodes.\n" +
                make_shared);
}

TEST(process_extension_output, groups_the_nodes_by_ascending_inode) {
  const verdict result = judge(ok("n1", "200") + ok("n3", "9") + ok("n2", "9"),
                               {"n1", "n2", "n3"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log,
            std::string(opening) +
                " has unique inode values across some nodes, meaning that it "
                "is not shared across all nodes. The following groups have the "
                "same inode values: [n[2-3]],[n1]\n" +
                make_shared);
}

// Two inodes and three labels: the third did not say.
TEST(process_extension_output, counts_labels_and_not_answers_against_groups) {
  const verdict result =
      judge(ok("n1", "1") + ok("n2", "2") + "n3: ZELK_PRECHECK_OK\n",
            {"n1", "n2", "n3"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log,
            std::string(opening) +
                " has unique inode values across some nodes, meaning that it "
                "is not shared across all nodes. The following groups have the "
                "same inode values: [n1],[n2]\n" +
                make_shared + undetected("n3"));
}

TEST(process_extension_output, names_the_nodes_that_cannot_tell) {
  const verdict result =
      judge(ok("n1", "17") + "n2: ZELK_PRECHECK_OK\n", {"n1", "n2"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log, undetected("n2"));
}

// The number of answers is compared before the labels are looked at.
TEST(process_extension_output,
     overlooks_who_cannot_tell_if_another_says_twice) {
  const verdict result = judge(
      ok("n1", "17") + ok("n1", "17") + "n2: ZELK_PRECHECK_OK\n", {"n1", "n2"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log, "");
}

TEST(process_extension_output, expects_no_inode_where_there_is_no_directory) {
  const verdict result =
      judge(ok("n1", "17") + "n2: ZELK_PRECHECK_ND\n", {"n1", "n2"});
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(result.log.find("unable to detect"), std::string::npos);
}

TEST(process_extension_output, counts_a_file_of_that_name_as_no_directory) {
  const verdict result =
      judge(ok("n1", "17") +
                "n2: ZELK_PRECHECK_ND\nn2: #####SHAREDDIR_INODE 17#####\n",
            {"n1", "n2"});
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(result.log,
            std::string(opening) +
                " does not exist on certain nodes. Make the directory shared, "
                "readable and writable on nodes : n2.\n");
}

TEST(process_extension_output, advises_on_ssh_for_nodes_without_an_answer) {
  const verdict result =
      judge(ok("n2", "17"), {"n1", "n2", "n3"}, asked_by_ssh);
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(
      result.log,
      "Unable to access the following nodes: n[1,3] using SSH.\n"
      "Zelkara is configured to use key-based authentication of ssh between "
      "servers.\n"
      "Verify passwordless ssh is enabled and does not take a long time to "
      "connect, in which case the connection could be timing out.\n"
      "Otherwise, please configure Zelkara to use Orvane(R) MPI Library for "
      "data collection. For more information about how to configure data "
      "collection, please refer to the Zelkara User Guide.\n"
      "For more information, please run with '-l debug'.\n");
}

TEST(process_extension_output, advises_on_mpi_for_any_other_way) {
  for (const int mode : {asked_by_mpi, 0, -1, 3}) {
    SCOPED_TRACE(mode);
    const verdict result = judge(ok("n2", "17"), {"n1", "n2"}, mode);
    EXPECT_FALSE(result.usable);
    EXPECT_EQ(
        result.log,
        "Unable to access the following nodes: n1 , using Orvane(R) MPI "
        "Library.\n"
        "Please make sure that Orvane(R) MPI Library is installed and sourced "
        "and that all nodes are accessible via MPI.\n"
        "For more information, please run with '-l debug'.\n");
  }
}

TEST(process_extension_output, takes_a_node_without_state_word_as_silent) {
  const verdict result =
      judge("n1: #####SHAREDDIR_INODE 17#####\n", {"n1"}, asked_by_mpi);
  EXPECT_FALSE(result.usable);
  EXPECT_EQ(result.log.find("Unable to access the following nodes: n1 "), 0U);
}

TEST(process_extension_output, reports_everything_in_one_order) {
  const verdict result =
      judge("n1: ZELK_PRECHECK_ND\n" + ok("n2", "1") + ok("n3", "2") +
                "n4: ZELK_PRECHECK_OK\nn5: ZELK_PRECHECK_NON_RW\n",
            {"n1", "n2", "n3", "n4", "n5", "n6"}, asked_by_mpi);
  EXPECT_FALSE(result.usable);
  std::size_t at = 0;
  for (const char* part :
       {"does not exist on certain nodes", "across some nodes",
        "on the nodes: n[4-5].", "right permissions", "nodes: n6 , using"}) {
    SCOPED_TRACE(part);
    at = result.log.find(part, at);
    ASSERT_NE(at, std::string::npos);
  }
}

TEST(process_extension_output, tests_the_words_in_their_order) {
  // OK before NON_RW before ND, and an inode only where there is none of them.
  EXPECT_TRUE(judge("n1: ZELK_PRECHECK_ND ZELK_PRECHECK_NON_RW "
                    "ZELK_PRECHECK_OK #####SHAREDDIR_INODE 1#####\n"
                    "n1: #####SHAREDDIR_INODE 2#####\n",
                    {"n1"})
                  .usable);
  const verdict result =
      judge("n1: ZELK_PRECHECK_ND ZELK_PRECHECK_NON_RW\n", {"n1"});
  EXPECT_NE(result.log.find("right permissions"), std::string::npos);
  EXPECT_EQ(result.log.find("does not exist"), std::string::npos);
}

TEST(process_extension_output, prefers_the_inode_to_the_host_name) {
  const verdict result = judge(
      "n1: #####ZELK_HOSTNAME x##### #####SHAREDDIR_INODE 1#####\n"
      "n1: ZELK_PRECHECK_OK\n",
      {"n1"});
  EXPECT_EQ(result.hostnames, names{});
  EXPECT_EQ(result.log, "");
}

TEST(process_extension_output, examines_every_field_of_a_line) {
  const verdict result = judge(
      "n1:noise:ZELK_PRECHECK_OK:#####SHAREDDIR_INODE 4#####:"
      "#####ZELK_HOSTNAME other#####\n",
      {"n1"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log, "");
  EXPECT_EQ(result.hostnames, (names{{"n1", "other"}}));
}

TEST(process_extension_output, finds_answers_amid_noise) {
  const verdict result = judge(
      "Welcome to the cluster\n"
      "\tn1 \r: Last login: today ZELK_PRECHECK_OK \r\n"
      "n1: motd #####SHAREDDIR_INODE 4##### end\n\n:\n",
      {"n1"});
  EXPECT_TRUE(result.usable);
  // The last line but one has an empty label, which has no inode.
  EXPECT_EQ(result.log, undetected(""));
}

TEST(process_extension_output, passes_over_lines_without_a_label) {
  const verdict result =
      judge("ZELK_PRECHECK_ND\n" + ok("n1", "4") + "no label", {"n1"});
  EXPECT_TRUE(result.usable);
  EXPECT_EQ(result.log, "");
}

// An unknown label is no node that was asked, but what it says counts.
TEST(process_extension_output, listens_to_unknown_labels) {
  EXPECT_FALSE(judge(ok("n1", "4") + "x: ZELK_PRECHECK_ND\n", {"n1"}).usable);
  EXPECT_TRUE(judge(ok("n1", "4") + ok("x", "4"), {"n1"}).usable);
}

TEST(process_extension_output, keeps_the_last_name_that_a_node_gave) {
  const verdict result =
      judge(ok("n1", "4") +
                "n1: #####ZELK_HOSTNAME a#####\nn1: #####ZELK_HOSTNAME b#####\n"
                "n1: #####ZELK_HOSTNAME n1#####\n",
            {"n1"});
  EXPECT_EQ(result.hostnames, (names{{"n1", "b"}}));
}

TEST(process_extension_output, takes_any_inode_that_fits) {
  const std::string most =
      std::to_string(std::numeric_limits<unsigned long>::max());
  EXPECT_TRUE(
      judge(ok("n1", most) + ok("n2", "0" + most), {"n1", "n2"}).usable);
  EXPECT_EQ(judge(ok("n1", most) + ok("n2", "0" + most), {"n1", "n2"}).log, "");
}

TEST(process_extension_output, throws_for_an_inode_that_does_not_fit) {
  names hostnames;
  try {
    process_extension_output(ok("n1", "18446744073709551616"), {"n1"},
                             hostnames, "/shared", 1);
    FAIL() << "nothing was thrown";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "stoul");
  }
}

TEST(process_extension_output, survives_a_line_of_a_megabyte) {
  const std::string megabyte(std::size_t{1} << 20, 'x');
  EXPECT_TRUE(
      judge(ok("n1", "4") + "n1: #####ZELK_HOSTNAME " + megabyte + "\n", {"n1"})
          .usable);
  EXPECT_TRUE(judge(ok("n1", "4") + "n1" +
                        std::string(std::size_t{1} << 20, ':') + "\n",
                    {"n1"})
                  .usable);
}

TEST(process_extension_output, judges_ten_thousand_nodes_in_a_moment) {
  std::string output;
  labels nodes;
  for (int i = 0; i < 10'000; ++i) {
    const std::string label = "n" + std::to_string(i);
    nodes.insert(label);
    output += ok(label, "17");
  }
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(judge(output, nodes).usable);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace zelk
