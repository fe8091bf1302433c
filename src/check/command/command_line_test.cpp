#include "src/check/command/command_line.h"

#include <iostream>
#include <sstream>

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

class command_line_ : public testing::Test {
 protected:
  command_line_()
      : out_before_(std::cout.rdbuf(out_.rdbuf())),
        error_before_(std::cerr.rdbuf(error_.rdbuf())) {}
  ~command_line_() override {
    std::cout.rdbuf(out_before_);
    std::cerr.rdbuf(error_before_);
  }

  std::optional<int> read(std::vector<const char*> words) {
    words.insert(words.begin(), "zelk-check");
    settings_ = {};
    out_.str("");
    error_.str("");
    return read_command_line(static_cast<int>(words.size()), words.data(),
                             settings_);
  }

  // The first line of the complaint.
  std::string complaint(const std::vector<const char*>& words) {
    EXPECT_EQ(read(words), 3);
    EXPECT_EQ(out_.str(), "");
    const std::string text = error_.str();
    EXPECT_NE(text.find("Try 'zelk-check --help'."), std::string::npos);
    return text.substr(0, text.find('\n'));
  }

  check_settings settings_;
  std::ostringstream out_, error_;

 private:
  std::streambuf* out_before_;
  std::streambuf* error_before_;
};

TEST_F(command_line_, has_built_in_values) {
  EXPECT_FALSE(read({}));
  EXPECT_EQ(settings_.what, action::report);
  EXPECT_EQ(settings_.run, "latest");
  EXPECT_EQ(settings_.judge.z, 3.5);
  EXPECT_EQ(settings_.judge.unreachable_score, 90);
  ASSERT_EQ(settings_.outputs.size(), 1U);
  EXPECT_EQ(settings_.outputs[0].path, "-");
  EXPECT_EQ(settings_.timeout.count(), 0);
}

// A variable of a script that is not set must not mean the usual place.
TEST_F(command_line_, refuses_empty_values) {
  for (const char* option :
       {"--db", "--run", "--baseline", "--config", "--nodefile", "--output",
        "--html", "--checks", "--descriptions", "--assets", "--diff"})
    EXPECT_EQ(complaint({option, ""}), "zelk-check: " + std::string(option) +
                                           ": expected a value; found ''");
  EXPECT_FALSE(read({"--db", "x.db", "--no-pager"}));
  EXPECT_EQ(read({"--help", "full"}), 0);
}

TEST_F(command_line_, takes_every_option_of_the_data) {
  EXPECT_FALSE(
      read({"--run=412", "--baseline", "2025-11-01", "--max-age",   "12h",
            "-w",        "n[1-4]",     "-w",         "@gpu",        "-x",
            "n2",        "--peers",    "role",       "--min-peers", "3",
            "--class",   "A=n[1-2]",   "mem-size",   "sysctl-*",    "--skip",
            "x"}));
  EXPECT_EQ(settings_.run, "412");
  EXPECT_EQ(settings_.baseline, "2025-11-01");
  EXPECT_EQ(settings_.max_age_usec, 12 * std::int64_t{3'600'000'000});
  EXPECT_EQ(settings_.nodes, (std::vector<std::string>{"n[1-4]", "@gpu"}));
  EXPECT_EQ(settings_.excluded, std::vector<std::string>{"n2"});
  EXPECT_EQ(settings_.judge.by, peers_by::role);
  EXPECT_EQ(settings_.judge.min_peers, 3U);
  EXPECT_EQ(settings_.classes.at(0).name, "A");
  EXPECT_EQ(settings_.judge.only,
            (std::vector<std::string>{"mem-size", "sysctl-*"}));
  EXPECT_EQ(settings_.judge.skip, std::vector<std::string>{"x"});
}

TEST_F(command_line_, takes_the_last_of_values_and_all_of_lists) {
  EXPECT_FALSE(read({"--run", "1", "--z", "2", "--run", "2", "--z=4", "--limit",
                     "a=1", "--limit", "b=~:2"}));
  EXPECT_EQ(settings_.run, "2");
  EXPECT_EQ(settings_.judge.z, 4);
  ASSERT_EQ(settings_.judge.limits.size(), 2U);
  EXPECT_EQ(settings_.judge.limits[1].metric, "b");
}

TEST_F(command_line_, takes_words_behind_two_dashes_as_checks) {
  EXPECT_FALSE(read({"--", "--run"}));
  EXPECT_EQ(settings_.judge.only, std::vector<std::string>{"--run"});
}

TEST_F(command_line_, chooses_forms_of_outputs) {
  EXPECT_FALSE(read({"-o", "a.html", "-o", "b.json", "--html", "c.html"}));
  ASSERT_EQ(settings_.outputs.size(), 3U);
  EXPECT_EQ(settings_.outputs[0].form->what, document::page);
  EXPECT_EQ(settings_.outputs[1].form->report, report_form::json);
  EXPECT_FALSE(read({"--html", "c.html", "--json"}));
  ASSERT_EQ(settings_.outputs.size(), 2U);
  EXPECT_EQ(settings_.outputs[0].path, "-");
  EXPECT_EQ(settings_.outputs[0].form->report, report_form::json);
  EXPECT_EQ(settings_.outputs[1].path, "c.html");
  EXPECT_FALSE(read({"--format", "csv", "-o", "without-ending"}));
  EXPECT_EQ(settings_.outputs.at(0).form->report, report_form::csv);
  EXPECT_FALSE(read({"--html", "-"}));
  ASSERT_EQ(settings_.outputs.size(), 1U);
}

TEST_F(command_line_, chooses_what_to_do) {
  const struct {
    std::vector<const char*> words;
    action what;
  } cases[] = {
      {{"--explain", "mem-size"}, action::explain},
      {{"--show", "check", "mem-size"}, action::explain},
      {{"--show", "node", "n1"}, action::show_nodes},
      {{"--diff", "memory"}, action::differences},
      {{"--list"}, action::list},
      {{"--local"}, action::local},
      {{"--drain-commands"}, action::drain_commands},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.words.front());
    EXPECT_FALSE(read(each.words));
    EXPECT_EQ(settings_.what, each.what);
  }
  EXPECT_FALSE(read({"--show", "node", "n1", "n2"}));
  EXPECT_EQ(settings_.asked, (std::vector<std::string>{"n1", "n2"}));
  EXPECT_TRUE(settings_.judge.only.empty());
}

TEST_F(command_line_, names_what_was_expected) {
  EXPECT_EQ(complaint({"--bseline", "1"}),
            "zelk-check: '--bseline' is not understood; did you mean "
            "'--baseline'?");
  EXPECT_EQ(complaint({"--run"}), "zelk-check: --run: expected one value");
  EXPECT_EQ(complaint({"--peers", "clas"}),
            "zelk-check: --peers: expected one of class role subcluster all "
            "none; found 'clas'; did you mean 'class'?");
  EXPECT_EQ(complaint({"--list", "--local"}),
            "zelk-check: --list and --local exclude each other");
  EXPECT_EQ(complaint({"--json", "--format", "csv"}),
            "zelk-check: --json and --format csv exclude each other");
  EXPECT_EQ(complaint({"-o", "report.pdf"}).substr(0, 32),
            "zelk-check: --output: expected a");
  EXPECT_EQ(complaint({"--list", "--json"}).substr(0, 33),
            "zelk-check: --format is for repor");
  EXPECT_EQ(complaint({"--diff", "x", "-o", "a.txt"}).substr(0, 33),
            "zelk-check: --output is for repor");
  EXPECT_EQ(complaint({"-o", "-", "--html", "-"}),
            "zelk-check: standard output can take one report; name a file");
  EXPECT_EQ(complaint({"--show", "node"}),
            "zelk-check: --show node: expected a node set behind it");
  EXPECT_EQ(complaint({"--class", "A"}),
            "zelk-check: --class: expected NAME=NODESET; found 'A'");
  EXPECT_EQ(complaint({"--figure", "trend"}),
            "zelk-check: --figure needs --format svg, or -o FILE.svg");
  EXPECT_EQ(complaint({"--redact", "hosts,everything"}).substr(0, 21),
            "zelk-check: --redact:");
  EXPECT_EQ(complaint({"--run\x1b[2J"}),
            "zelk-check: '--run\\x1b[2J' is not understood");
}

TEST_F(command_line_, tells_a_monitoring_system_on_standard_output) {
  EXPECT_EQ(read({"--peers", "x", "--format", "nagios"}), 3);
  EXPECT_EQ(out_.str().substr(0, 18), "ZELKARA UNKNOWN - ");
  EXPECT_FALSE(read({"--format", "nagios"}));
  EXPECT_EQ(settings_.timeout.count(), 55);
  EXPECT_EQ(complain(settings_, "no such run"), 3);
  EXPECT_EQ(out_.str(), "ZELKARA UNKNOWN - no such run\n");
  EXPECT_EQ(read({"--nonsense", "--format=nagios"}), 3);
  EXPECT_EQ(out_.str(), "ZELKARA UNKNOWN - '--nonsense' is not understood\n");
}

TEST_F(command_line_, helps_wherever_it_is_asked_for) {
  EXPECT_EQ(read({"--nonsense", "--help"}), 0);
  EXPECT_EQ(out_.str().substr(0, 6), "Usage:");
  for (const char* word : {"--baseline RUN|none", "Which data:", "--max-size",
                           "Exit status:", "-w,--nodes NODESET"})
    EXPECT_NE(out_.str().find(word), std::string::npos) << word;
  std::istringstream lines(out_.str());
  for (std::string line; std::getline(lines, line);)
    EXPECT_LE(line.size(), 80U) << line;
  EXPECT_EQ(read({"--format", "nagios", "--help"}), 3);
  EXPECT_EQ(read({"--version"}), 0);
  EXPECT_EQ(out_.str().substr(0, 11), "zelk-check ");
}

}  // namespace
}  // namespace zelk::check
