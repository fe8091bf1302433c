#include "src/collect/src/db/command_line.h"

#include <gtest/gtest.h>

#include "src/collect/src/reading/test_output.h"
#include "src/common/names/version.h"

namespace zelk::db {
namespace {

struct outcome {
  std::optional<int> status;
  command_line line;
  std::string out;
  std::string error;
};

outcome read(std::vector<const char*> words) {
  words.insert(words.begin(), "zelk-db");
  const reading::captured_output output;
  outcome result;
  result.status = read_command_line(static_cast<int>(words.size()),
                                    words.data(), result.line);
  result.out = output.out();
  result.error = output.error();
  return result;
}

TEST(read_command_line, takes_options_anywhere) {
  const outcome found =
      read({"--db", "x", "prune", "--keep=30d", "400..412", "--yes",
            "--keep-label", "a", "--keep-label", "b", "--db=y", "-q"});
  ASSERT_FALSE(found.status.has_value()) << found.error;
  EXPECT_EQ(found.line.what, command::prune);
  EXPECT_EQ(found.line.datastore, "y");  // the last one counts
  EXPECT_EQ(found.line.prune.keep, "30d");
  EXPECT_EQ(found.line.prune.runs, std::vector<std::string>{"400..412"});
  EXPECT_EQ(found.line.prune.keep_labels, (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(found.line.prune.yes);
  EXPECT_TRUE(found.line.prune.quiet);
}

TEST(read_command_line, takes_a_commands_name_for_an_operand_behind_it) {
  const outcome found = read({"show", "latest", "info", "check"});
  ASSERT_FALSE(found.status.has_value()) << found.error;
  EXPECT_EQ(found.line.show.node, "info");
  EXPECT_EQ(found.line.show.provider, "check");
  EXPECT_EQ(read({"query", "vacuum"}).line.query.sql, "vacuum");
}

TEST(read_command_line, takes_anything_behind_two_dashes) {
  const outcome found = read({"show", "--", "latest", "--help"});
  ASSERT_FALSE(found.status.has_value()) << found.error;
  EXPECT_EQ(found.line.show.node, "--help");
}

TEST(read_command_line, takes_a_dash_for_standard_input) {
  EXPECT_EQ(read({"query", "-"}).line.query.sql, "-");
  EXPECT_EQ(read({"runs", "-w", "-"}).line.runs.nodes,
            std::vector<std::string>{"-"});
}

// A variable of a script that is not set must not mean the usual place.
TEST(read_command_line, refuses_empty_values) {
  for (const auto& [words, option] :
       std::vector<std::pair<std::vector<const char*>, std::string>>{
           {{"runs", "--db", ""}, "--db"},
           {{"info", "-c", ""}, "--config"},
           {{"accept", "x", "--run", ""}, "--run"},
           {{"export", "-o", ""}, "--output"},
           {{"facts", "--descriptions", ""}, "--descriptions"},
           {{"facts", "--from-file", ""}, "--from-file"},
           {{"query", "--file", ""}, "--file"}}) {
    SCOPED_TRACE(option);
    const outcome found = read(words);
    EXPECT_EQ(found.status, 3);
    EXPECT_NE(found.error.find(option + ": expected a value; found ''"),
              std::string::npos)
        << found.error;
  }
}

TEST(read_command_line, helps_wherever_it_is_asked) {
  for (const auto& words : std::vector<std::vector<const char*>>{
           {"-h"}, {"--help"}, {"runs", "--help"}, {"nonsense", "-h"}}) {
    const outcome found = read(words);
    EXPECT_EQ(found.status, 0);
    EXPECT_NE(found.out.find("Usage: zelk-db"), std::string::npos);
    EXPECT_EQ(found.error, "");
  }
  EXPECT_EQ(read({"--version"}).status, 0);
  EXPECT_EQ(read({"--version"}).out,
            version_text("zelk-db", {{"datastore", 3}, {"export", 1}}));
}

TEST(read_command_line, helps_in_words_of_its_own) {
  for (const char* name :
       {"info", "runs", "show", "query", "baseline", "accept", "export",
        "import", "prune", "check", "vacuum", "migrate", "init"}) {
    SCOPED_TRACE(name);
    const std::string text = read({name, "--help"}).out;
    EXPECT_NE(text.find(std::string("Usage: zelk-db ") + name), text.npos)
        << text;
    // What the option library would add about ranges and units.
    for (const char* raw : {"in [", "UINT", "NONNEGATIVE", "INT in"})
      EXPECT_EQ(text.find(raw), text.npos) << text;
  }
}

TEST(read_command_line, reads_what_is_accepted_and_where) {
  const command_line line =
      read({"accept", "mem-size", "-w", "n[1-2]", "-w", "n9", "-x", "n2",
            "--reason", "DIMM ordered", "--until", "30d", "--run", "412",
            "--who", "ada", "--json"})
          .line;
  EXPECT_EQ(line.what, command::accept);
  EXPECT_EQ(line.accept.what, accept_action::accept);
  EXPECT_EQ(line.accept.check, "mem-size");
  EXPECT_EQ(line.accept.nodes, (std::vector<std::string>{"n[1-2]", "n9"}));
  EXPECT_EQ(line.accept.excluded, std::vector<std::string>{"n2"});
  EXPECT_EQ(line.accept.reason, "DIMM ordered");
  EXPECT_EQ(line.accept.until, "30d");
  EXPECT_EQ(line.accept.run, "412");
  EXPECT_EQ(line.accept.who, "ada");
  EXPECT_TRUE(line.accept.json);
}

// A check may be called like a command.
TEST(read_command_line, takes_a_command_s_name_as_a_check) {
  const command_line line = read({"accept", "check", "--reason", "x"}).line;
  EXPECT_EQ(line.what, command::accept);
  EXPECT_EQ(line.accept.check, "check");
}

TEST(read_command_line, reads_the_baseline_and_the_configuration) {
  const command_line line =
      read({"-c", "z.xml", "baseline", "set", "latest", "--name", "golden"})
          .line;
  EXPECT_EQ(line.config_file, "z.xml");
  EXPECT_EQ(line.what, command::baseline);
  EXPECT_EQ(line.baseline.what, baseline_action::set);
  EXPECT_EQ(line.baseline.run, "latest");
  EXPECT_EQ(line.baseline.name, "golden");
  EXPECT_EQ(read({"baseline"}).line.baseline.what, baseline_action::list);
}

struct mistake_case {
  std::vector<const char*> words;
  const char* said;
};

const mistake_case mistakes[] = {
    {{}, "a command is missing"},
    {{"rnus"}, "'rnus' is not understood; did you mean 'runs'?"},
    {{"runs", "--jsn"}, "did you mean '--json'?"},
    {{"runs", "extra"}, "'extra' is not understood"},
    {{"runs", "--keep", "3"}, "'--keep' is not understood"},
    {{"--json", "runs"}, "'--json' stands behind the command"},
    {{"show"}, "show needs a RUN"},
    {{"show", "1", "n", "p", "more"}, "'more' is not understood"},
    {{"query"}, "query needs SQL"},
    {{"query", "select 1", "--file", "f"}, "not both"},
    {{"query", "select 1", "--format", "jsn"}, "did you mean 'json'?"},
    {{"query", "select 1", "--max-rows", "-1"}, "--max-rows"},
    {{"query", "select 1", "--timeout", "x"}, "--timeout"},
    {{"info", "-l", "loud"}, "--log-level: 'loud' is none of"},
    {{"info", "--color", "red"}, "--color: 'red' is none of"},
    {{"info", "--db"}, "--db"},
    {{"import", "f", "--max-record", "0"}, "--max-record"},
    {{"baseline", "sett", "1"}, "did you mean 'set'?"},
    {{"baseline", "set"}, "baseline set needs a RUN"},
    {{"accept", "mem-size"}, "accept needs --reason TEXT"},
    {{"accept", "revoke", "x"}, "'x' is not the number of an acceptance"},
    {{"check", "--repiar"}, "did you mean '--repair'?"},
    {{"\x1b[2J"}, "'\\x1b[2J' is not understood"},
};

TEST(read_command_line, tells_a_mistake_and_what_may_be_meant) {
  for (const mistake_case& each : mistakes) {
    SCOPED_TRACE(each.said);
    const outcome found = read(each.words);
    EXPECT_EQ(found.status, 3);
    EXPECT_NE(found.error.find(each.said), std::string::npos) << found.error;
    EXPECT_EQ(found.out, "");
  }
}

TEST(read_command_line, sets_how_much_is_told) {
  EXPECT_EQ(read({"info"}).line.log_level, 4);
  EXPECT_EQ(read({"info", "-v", "-v"}).line.log_level, 6);
  EXPECT_EQ(read({"info", "-q", "-v"}).line.log_level, 3);
  EXPECT_EQ(read({"info", "-l", "debug", "-v"}).line.log_level, 7);
}

}  // namespace
}  // namespace zelk::db
