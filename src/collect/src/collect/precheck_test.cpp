#include "src/collect/src/collect/precheck.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "src/collect/src/collect/launch_fixture.h"
#include "src/collect/src/collect/precheck_probe.h"
#include "src/collect/src/collect/remote_script.h"
#include "src/common/log/captured_log.h"
#include "src/common/str/str.h"

namespace zelk::collect {
namespace {

using lines = std::vector<std::string>;
using std::chrono::seconds;
using util::testing::scratch_folder;

// An ssh that gives each node its own view of things: a directory is looked for
// in the folder that bears the node's name, if there is one.
constexpr char stand_in[] = R"(#!/bin/sh
while :; do
  case $1 in
  -o | -l) shift 2 ;;
  --) shift; break ;;
  *) shift ;;
  esac
done
host=$1
shift
case $host in
dead*) echo "ssh: connect to host $host port 22: Connection refused" >&2
  exit 255 ;;
late) PATH=$STAND_IN_LATE:$PATH ;;
esac
if [ -d "$STAND_IN_VIEWS/$host" ]; then
  view="s#$STAND_IN_DIRECTORY#$STAND_IN_VIEWS/$host#g"
  exec setsid -w sh -c "sed -u '$view' | { $*; }"
fi
exec setsid -w sh -c "$*"
)";

class precheck_of_nodes : public ::testing::Test {
 protected:
  precheck_of_nodes()
      : directory_(scratch_.path() + "/shared"),
        views_(scratch_.path() + "/views"),
        directory_variable_("STAND_IN_DIRECTORY", directory_),
        views_variable_("STAND_IN_VIEWS", views_),
        late_variable_("STAND_IN_LATE", scratch_.path() + "/late") {
    programs_.add("ssh", stand_in);
    std::filesystem::create_directory(directory_);
    std::filesystem::create_directory(views_);
    make_worker("worker", "1.2.0");
    request_.worker = scratch_.path() + "/worker";
    request_.version = "1.2.0";
    request_.way.connect_timeout = seconds(20);
  }
  void make_worker(const std::string& name, const std::string& version) {
    const std::string path = scratch_.path() + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n#" << version_mark(version) << "\n";
    ::chmod(path.c_str(), 0755);
  }
  precheck_report check(const lines& nodes) {
    request_.nodes = nodes;
    log::captured_log log(log::level_error);
    precheck_report report = run_precheck(request_);
    log_ = log.text();
    return report;
  }

  scratch_folder scratch_;
  std::string directory_;
  std::string views_;
  testing::stand_ins programs_;
  testing::environment_variable directory_variable_;
  testing::environment_variable views_variable_;
  testing::environment_variable late_variable_;
  precheck_request request_;
  std::string log_;
};

TEST_F(precheck_of_nodes, has_nothing_to_say_when_all_is_well) {
  request_.directory = directory_;
  const precheck_report report = check({"n1", "n2"});
  EXPECT_EQ(report.errors, lines{});
  EXPECT_EQ(report.warnings, lines{});
  EXPECT_TRUE(report.directory_usable);
  EXPECT_EQ(log_, "");
  const node_facts& facts = report.nodes.at("n1");
  EXPECT_TRUE(facts.answered);
  EXPECT_EQ(facts.worker, "found");
  EXPECT_EQ(facts.version, "1.2.0");
  EXPECT_FALSE(facts.checksum.empty());
  EXPECT_FALSE(facts.host_name.empty());
  EXPECT_FALSE(facts.architecture.empty());
  EXPECT_EQ(facts.clock_offset_s, 0.0);
  EXPECT_EQ(facts.state, "ZELK_PRECHECK_OK");
  EXPECT_EQ(facts.token, "read");
  EXPECT_TRUE(facts.reply_seen);
}

TEST_F(precheck_of_nodes, leaves_nothing_in_the_directory) {
  request_.directory = directory_;
  check({"n1", "n2"});
  EXPECT_TRUE(std::filesystem::is_empty(directory_));
}

TEST_F(precheck_of_nodes, folds_nodes_that_fail_alike) {
  const precheck_report report = check({"dead1", "dead2", "n1"});
  EXPECT_EQ(report.errors,
            lines{"dead[1-2] (2): ssh: connect to host: Connection refused; is "
                  "sshd running there?"});
  EXPECT_FALSE(report.nodes.at("dead1").answered);
  EXPECT_EQ(report.nodes.at("dead1").outcome.how, ending::refused);
}

TEST_F(precheck_of_nodes, compares_the_worker) {
  request_.version = "1.3.0";
  EXPECT_EQ(check({"n1"}).errors,
            lines{"n1 (1): the worker is version 1.2.0 and not 1.3.0; install "
                  "the same on all nodes"});
  request_.worker = "/bin/sh";
  EXPECT_EQ(check({"n1"}).errors,
            lines{"n1 (1): the worker is version unknown and not 1.3.0; "
                  "install the same on all nodes"});
  request_.worker = "/none/worker";
  EXPECT_EQ(check({"n1", "n2"}).errors,
            lines{"n[1-2] (2): /none/worker is missing; install it there, or "
                  "say where it is: --remote-path"});
  request_.worker = scratch_.path() + "/worker";
  ::chmod(request_.worker.c_str(), 0644);
  EXPECT_EQ(check({"n1"}).errors,
            lines{"n1 (1): " + request_.worker +
                  " is not executable; install it there, or say where it is: "
                  "--remote-path"});
}

// Each node's own disk may give its folder the same number.
TEST_F(precheck_of_nodes, is_not_misled_by_equal_inodes) {
  request_.directory = directory_;
  std::filesystem::create_directory(views_ + "/n2");
  programs_.add("stat", "#!/bin/sh\necho '#####SHAREDDIR_INODE 7#####'\n");
  const precheck_report report = check({"n1", "n2"});
  EXPECT_EQ(log_, "");
  EXPECT_EQ(report.errors,
            lines{"n2 (1): " + directory_ +
                  " is not the same directory as here: a file written here is "
                  "not there"});
  EXPECT_FALSE(report.directory_usable);
}

// A network file system may give one folder another number on each node.
TEST_F(precheck_of_nodes, is_not_misled_by_different_inodes) {
  request_.directory = directory_;
  programs_.add("stat", "#!/bin/sh\necho \"#####SHAREDDIR_INODE $$#####\"\n");
  const precheck_report report = check({"n1", "n2"});
  EXPECT_NE(log_.find("unique inode values across the nodes"),
            std::string::npos);
  EXPECT_EQ(report.errors, lines{});
  EXPECT_EQ(report.warnings,
            lines{"n[1-2] (2): what was said of inode values can be ignored: "
                  "a file written here was read on every node"});
  EXPECT_TRUE(report.directory_usable);
}

TEST_F(precheck_of_nodes, reports_a_directory_that_is_not_there) {
  request_.directory = scratch_.path() + "/absent";
  const precheck_report report = check({"n1"});
  EXPECT_FALSE(report.directory_usable);
  ASSERT_FALSE(report.errors.empty());
  EXPECT_EQ(report.errors[0], "cannot write into " + request_.directory +
                                  " on this machine (2): No such file or "
                                  "directory");
  EXPECT_NE(log_.find(request_.directory +
                      " does not exist on certain nodes. Make the directory "
                      "shared, readable and writable on nodes : n1."),
            std::string::npos);
}

TEST_F(precheck_of_nodes, asks_nobody_about_a_directory_that_needs_quotes) {
  request_.directory = "/tmp/a b";
  const precheck_report report = check({"n1"});
  EXPECT_EQ(report.errors,
            lines{"the shared directory '/tmp/a b': expected an absolute path "
                  "of letters, digits and /._-+,@%:="});
  EXPECT_FALSE(report.directory_usable);
}

TEST_F(precheck_of_nodes, tells_a_clock_that_is_wrong) {
  std::filesystem::create_directory(scratch_.path() + "/late");
  const std::string date = scratch_.path() + "/late/date";
  std::ofstream(date) << "#!/bin/sh\nexec /bin/date -d '1 hour ago' \"$@\"\n";
  ::chmod(date.c_str(), 0755);
  const precheck_report report = check({"late", "n1"});
  ASSERT_EQ(report.warnings.size(), 1U);
  EXPECT_EQ(report.warnings[0].find("late (1): its clock is at least 359"), 0U)
      << report.warnings[0];
  EXPECT_NE(report.warnings[0].find(" s behind ours"), std::string::npos);
  EXPECT_LT(*report.nodes.at("late").clock_offset_s, -3500);
}

TEST_F(precheck_of_nodes, can_be_stopped) {
  request_.nodes = {"n1", "n2"};
  const precheck_report report = run_precheck(request_, [] { return true; });
  EXPECT_TRUE(report.stopped);
  EXPECT_EQ(report.nodes.size(), 2U);
}

TEST(read_probe, takes_an_answer_from_any_output) {
  launch_outcome outcome;
  outcome.node = "n1";
  outcome.took = std::chrono::duration<double>(2);
  const auto now = std::chrono::system_clock::time_point(seconds(1000));
  outcome.output =
      "noise\nZELK_PROBE time 990.5\nZELK_PROBE host a\001b\nZELK_PROBE token x"
      "\nZELK_PROBE\nZELK_PROBE token y\nZELK_PRECHECK_ND\n";
  node_facts facts = read_probe(outcome, {"x", "", ""}, now);
  EXPECT_TRUE(facts.answered);
  EXPECT_EQ(facts.clock_offset_s, -7.5);
  EXPECT_EQ(facts.host_name, "a?b");
  EXPECT_EQ(facts.token, "read");
  EXPECT_EQ(facts.state, "ZELK_PRECHECK_ND");
  EXPECT_EQ(read_probe(outcome, {"z", "", ""}, now).token, "other");
  EXPECT_EQ(directory_lines(outcome),
            "n1: noise\nn1: ZELK_PROBE\nn1: "
            "ZELK_PRECHECK_ND\n");
  // A date without %N.
  outcome.output = "ZELK_PROBE time 997.%N\n";
  EXPECT_EQ(read_probe(outcome, {}, now).clock_offset_s, 0.0);
  outcome.output = "ZELK_PROBE time nonsense\n";
  EXPECT_EQ(read_probe(outcome, {}, now).clock_offset_s, std::nullopt);
  outcome.output = "";
  EXPECT_FALSE(read_probe(outcome, {}, now).answered);
}

TEST(is_plain_path, takes_what_needs_no_quotes) {
  EXPECT_TRUE(is_plain_path("/shared/zelk-1_2.spool"));
  for (const char* path : {"", "relative", "/a b", "/a;b", "/a$b", "/a'b",
                           "/a\nb", "/a*", "~/a"}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(is_plain_path(path));
  }
}

}  // namespace
}  // namespace zelk::collect
