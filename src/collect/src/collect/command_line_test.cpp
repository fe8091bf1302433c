#include "src/collect/src/collect/command_line.h"

#include <iostream>
#include <sstream>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::collect {
namespace {

using words = std::vector<std::string>;

struct reading {
  std::optional<int> status;
  collect_settings settings;
  typed_values typed;
  std::string out;
  words errors;
};

reading read(const words& arguments) {
  std::vector<const char*> argv = {"zelk-collect"};
  for (const std::string& word : arguments)
    argv.push_back(word.c_str());
  reading made;
  const log::captured_log log;
  std::ostringstream out;
  std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
  made.status = read_command_line(static_cast<int>(argv.size()), argv.data(),
                                  made.settings, made.typed);
  std::cout.rdbuf(before);
  made.out = out.str();
  made.errors = log.lines();
  return made;
}

reading understood(const words& arguments) {
  reading made = read(arguments);
  EXPECT_FALSE(made.status);
  EXPECT_EQ(made.errors, words{});
  return made;
}

words typed_words(const reading& made) {
  words all;
  for (const auto& [rule, text] : made.typed)
    all.push_back(std::string(rule->name) + "=" + text);
  return all;
}

TEST(read_command_line, takes_nothing_at_all) {
  const reading made = understood({});
  EXPECT_EQ(made.settings.what, action::collect);
  EXPECT_EQ(made.settings.wanted, words{});
  EXPECT_TRUE(made.typed.empty());
  EXPECT_EQ(made.settings.command_line, "zelk-collect");
}

TEST(read_command_line, takes_options_in_front_of_and_behind_names) {
  const reading made = understood({"-w", "n[1-3]", "memory", "--fanout=8",
                                   "@quick", "-w", "n9", "--", "--odd"});
  EXPECT_EQ(made.settings.nodes, (words{"n[1-3]", "n9"}));
  EXPECT_EQ(made.settings.wanted, (words{"memory", "@quick", "--odd"}));
  EXPECT_EQ(typed_words(made), words{"fanout=8"});
  EXPECT_EQ(made.settings.command_line,
            "zelk-collect -w n[1-3] memory --fanout=8 @quick -w n9 -- --odd");
}

TEST(read_command_line, lets_the_last_scalar_win_and_lists_grow) {
  const reading made =
      understood({"--fanout", "1",   "--label", "a",  "--ssh-option", "A=1",
                  "--fanout", "2",   "--label", "b",  "--ssh-option", "B=2",
                  "--note",   "k=v", "--note",  "x=", "-n",           "/n",
                  "--into",   "7"});
  EXPECT_EQ(typed_words(made), (words{"fanout=2", "ssh_options=A=1",
                                      "ssh_options=B=2", "nodefile=/n"}));
  EXPECT_EQ(made.settings.label, "b");
  EXPECT_EQ(made.settings.notes, (words{"k=v", "x="}));
  EXPECT_EQ(made.settings.run, "7");
}

// A dash alone is standard input, not an option.
TEST(read_command_line, takes_a_dash_as_a_value) {
  EXPECT_EQ(understood({"-w", "-"}).settings.nodes, words{"-"});
  EXPECT_EQ(understood({"-x", "-", "memory"}).settings.excluded, words{"-"});
  EXPECT_EQ(understood({"--events", "-"}).settings.events, "-");
}

TEST(read_command_line, knows_each_thing_to_ask) {
  const struct {
    const char* word;
    action what;
  } cases[] = {
      {"--list", action::list},
      {"-L", action::list},
      {"--dry-run", action::dry_run},
      {"--validate", action::validate},
      {"--show-config", action::show_config},
      {"--doctor", action::doctor},
  };
  for (const auto& one : cases)
    EXPECT_EQ(understood({one.word}).settings.what, one.what) << one.word;
}

TEST(read_command_line, reads_what_people_want_to_see) {
  EXPECT_EQ(understood({}).settings.log_level, 4);
  EXPECT_EQ(understood({"-v", "-v"}).settings.log_level, 6);
  EXPECT_EQ(understood({"-vvvvv"}).settings.log_level, 7);
  EXPECT_EQ(understood({"-q", "-l", "debug"}).settings.log_level, 3);
  EXPECT_EQ(understood({"-q"}).settings.progress, progress_style::none);
  EXPECT_EQ(understood({"--progress", "lines"}).settings.progress,
            progress_style::lines);
  EXPECT_EQ(understood({"--no-color"}).settings.color, color_use::never);
  EXPECT_EQ(understood({"--color", "always"}).settings.color,
            color_use::always);
  EXPECT_FALSE(understood({"--no-pager"}).settings.pager);
  EXPECT_EQ(understood({"--pick", "3"}).settings.pick, 3U);
  EXPECT_EQ(understood({"--seed", "0"}).settings.seed, 0U);
}

// People add it to whatever they have typed so far.
TEST(read_command_line, gives_help_wherever_it_is_asked_for) {
  for (const words& arguments :
       {words{"-h"}, words{"memory", "--help"}, words{"--fanuot", "-h"},
        words{"--list", "--dry-run", "--help", "full"}}) {
    const reading made = read(arguments);
    EXPECT_EQ(made.status, 0);
    EXPECT_EQ(made.errors, words{});
    EXPECT_TRUE(made.out.starts_with("Usage: zelk-collect [options]"));
    EXPECT_NE(made.out.find("--connect-timeout S"), made.out.npos);
    EXPECT_NE(made.out.find("Examples:"), made.out.npos);
    for (std::size_t at = 0; at < made.out.size();) {
      const std::size_t end = made.out.find('\n', at);
      EXPECT_LE(end - at, 80U) << made.out.substr(at, end - at);
      at = end + 1;
    }
  }
  EXPECT_FALSE(read({"--", "-h"}).status);
  EXPECT_TRUE(read({"--version"}).out.starts_with("zelk-collect "));
}

TEST(read_command_line, names_what_was_expected) {
  const struct {
    words arguments;
    const char* complaint;
  } cases[] = {
      {{"--fanuot", "3"},
       "'--fanuot' is not understood; did you mean '--fanout'?"},
      {{"--nodez=a"}, "'--nodez' is not understood; did you mean '--nodes'?"},
      {{"-Z"}, "'-Z' is not understood"},
      {{"--fanout"}, "--fanout: expected one value"},
      {{"-w"}, "--nodes: expected one value"},
      {{"--list", "--dry-run"}, "--list and --dry-run exclude each other"},
      {{"--pick", "0"},
       "--pick: expected a whole number of at least 1; found '0'"},
      {{"--pick", "-3"},
       "--pick: expected a whole number of at least 1; found '-3'"},
      {{"--seed", "1x"},
       "--seed: expected a whole number of at least 0; found '1x'"},
      {{"--note", "x"}, "--note: expected KEY=VALUE; found 'x'"},
      {{"-c", ""}, "--config: expected a value; found ''"},
      {{"--into", ""}, "--into: expected a value; found ''"},
      {{"--events", ""}, "--events: expected a value; found ''"},
      {{"-f", ""}, "--provider-file: expected a value; found ''"},
      {{"--note", "=x"}, "--note: expected KEY=VALUE; found '=x'"},
      {{"--keep-going", "--fail-fast"},
       "--keep-going and --fail-fast exclude each other"},
      {{"--json", "--events", "-"},
       "--json and --events - both want standard output; name a file"},
      {{"--color", "alway"},
       "--color: expected one of auto always never; found 'alway'; did you "
       "mean 'always'?"},
      {{"-l", "warn"},
       "--log-level: expected one of alert critical debug error info notice "
       "warning; found 'warn'"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.complaint);
    const reading made = read(one.arguments);
    EXPECT_EQ(made.status, 3);
    EXPECT_EQ(made.out, "");
    ASSERT_EQ(made.errors.size(), 2U);
    EXPECT_EQ(made.errors[0], std::string("zelk-collect: ") + one.complaint);
    EXPECT_EQ(made.errors[1], "Try 'zelk-collect --help'.");
  }
}

}  // namespace
}  // namespace zelk::collect
