#include "src/collect/src/run_options.h"

#include <unistd.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"
#include "src/common/names/names.h"

namespace zelk {
namespace {

using lines = std::vector<std::string>;

// Parses the words as a fresh command line would be.
bool parse(run_options& options, std::vector<std::string> words) {
  words.insert(words.begin(), "zelk_run_provider");
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words)
    argv.push_back(word.data());
  argv.push_back(nullptr);
  optind = 0;  // getopt(3): start anew
  return parse_arguments(options, static_cast<int>(words.size()), argv.data());
}

class linger_variable {
 public:
  explicit linger_variable(const char* value) {
    if (value != nullptr) ::setenv("ZELK_COLLECT_LINGER", value, 1);
  }
  linger_variable(const linger_variable&) = delete;
  linger_variable& operator=(const linger_variable&) = delete;
  ~linger_variable() { ::unsetenv("ZELK_COLLECT_LINGER"); }
};

TEST(parse_arguments, takes_every_option) {
  run_options o;
  ASSERT_TRUE(parse(o, {"-A", "-c", "c.xml", "-e", "tcp://a:1", "-f", "f.xml",
                        "-n", "nodes", "-p", "p.xml", "-H", "host"}));
  EXPECT_TRUE(o.async_mode);
  EXPECT_EQ(o.config_file, "c.xml");
  EXPECT_EQ(o.endpoint, "tcp://a:1");
  EXPECT_EQ(o.provider_files, lines{"f.xml"});
  EXPECT_EQ(o.nodefile, "nodes");
  EXPECT_EQ(o.provider_config_file, "p.xml");
  EXPECT_EQ(o.hostname_override, "host");
}

TEST(parse_arguments, leaves_the_defaults_without_options) {
  run_options o;
  ASSERT_TRUE(parse(o, {}));
  EXPECT_EQ(o.config_file, "/etc/zelk.xml");
  EXPECT_TRUE(o.endpoint.empty());
  EXPECT_TRUE(o.provider_files.empty());
  EXPECT_FALSE(o.debug);
  EXPECT_FALSE(o.async_mode);
  EXPECT_EQ(o.linger, -1);
}

TEST(parse_arguments, keeps_repeated_provider_files_in_order) {
  run_options o;
  ASSERT_TRUE(parse(o, {"-f", "a.xml", "-f", "b.xml", "-f", "a.xml"}));
  EXPECT_EQ(o.provider_files, (lines{"a.xml", "b.xml", "a.xml"}));
}

TEST(parse_arguments, lets_the_last_of_other_options_win) {
  run_options o;
  ASSERT_TRUE(parse(o, {"-c", "1", "-c", "2", "-e", "3", "-e", "4", "-n", "5",
                        "-n", "6", "-p", "7", "-p", "8", "-H", "9", "-H", ""}));
  EXPECT_EQ(o.config_file, "2");
  EXPECT_EQ(o.endpoint, "4");
  EXPECT_EQ(o.nodefile, "6");
  EXPECT_EQ(o.provider_config_file, "8");
  EXPECT_EQ(o.hostname_override, "");
}

TEST(parse_arguments, sets_level_and_debug_by_exact_names) {
  log::captured_log log;
  run_options o;
  log::LOG_LEVEL = 4;
  ASSERT_TRUE(parse(o, {"-l", "DEBUG"}));
  EXPECT_EQ(log::LOG_LEVEL, 4);
  EXPECT_FALSE(o.debug);

  ASSERT_TRUE(parse(o, {"-l", "debug"}));
  EXPECT_EQ(log::LOG_LEVEL, 7);
  EXPECT_TRUE(o.debug);

  ASSERT_TRUE(parse(o, {"-l", "alert", "-l", "nonsense"}));
  EXPECT_EQ(log::LOG_LEVEL, 1);
  EXPECT_EQ(log.lines(), lines{});
}

TEST(parse_arguments, goes_on_after_an_unknown_option) {
  run_options o;
  ::testing::internal::CaptureStderr();
  ASSERT_TRUE(parse(o, {"-z", "-A", "operand"}));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("'z'"),
            std::string::npos);
  EXPECT_TRUE(o.async_mode);
}

TEST(parse_arguments, goes_on_after_a_missing_argument) {
  run_options o;
  ::testing::internal::CaptureStderr();
  ASSERT_TRUE(parse(o, {"-A", "-c"}));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("'c'"),
            std::string::npos);
  EXPECT_EQ(o.config_file, "/etc/zelk.xml");
}

TEST(parse_arguments, reads_nothing_behind_h) {
  run_options o;
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(parse(o, {"-A", "-h", "-c", "late.xml"}));
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("Usage: "),
            std::string::npos);
  EXPECT_TRUE(o.async_mode);
  EXPECT_EQ(o.config_file, "/etc/zelk.xml");
}

TEST(print_usage, is_word_for_word_what_scripts_expect) {
  const std::string root = std::exchange(install_root, "/opt/z");
  ::testing::internal::CaptureStdout();
  print_usage({}, "./zelk_run_provider");
  install_root = root;
  EXPECT_EQ(
      ::testing::internal::GetCapturedStdout(),
      "Usage: ./zelk_run_provider [options]\n"
      "Options:\n"
      "  -A\n"
      "     Store output locally for asynchronous accumulation by BREVIX\n"
      "  -c file\n"
      "     Configuration file [default = /opt/z/etc/zelk.xml]\n"
      "  -f file\n"
      "     Path to data provider configuration file. May be specified "
      "multiple times.\n"
      "  -l value\n"
      "     Select the output level. Recognized values are (in "
      "increasing order of verbosity): alert, critical, error, warning, "
      "notice, info, debug [default = warning]\n"
      "  -n file\n"
      "     Nodefile to use with cluster data providers\n"
      "\n"
      "At least the -f option must be specified.\n"
      "  --provider-config-file / -p\n"
      "     Provider config file to use with data providers.\n");
}

struct linger_case {
  const char* text;
  std::int32_t linger;
  lines logged;
};

TEST(read_linger_setting, takes_what_atol_makes_of_the_text) {
  const linger_case cases[] = {
      {nullptr, -1, {}},
      {"500", 500, {"ZELK_COLLECT_LINGER = 500"}},
      {"0", 0, {"ZELK_COLLECT_LINGER = 0"}},
      {"abc", 0, {"ZELK_COLLECT_LINGER = 0"}},
      {"", 0, {"ZELK_COLLECT_LINGER = 0"}},
      {"-1", -1, {"ZELK_COLLECT_LINGER = -1"}},
      {"12 ms", 12, {"ZELK_COLLECT_LINGER = 12"}},
      {"-5", -1, {"Invalid value of ZELK_COLLECT_LINGER: -5"}},
      {"-99999999999999999999",
       -1,
       {"Invalid value of ZELK_COLLECT_LINGER: -9223372036854775808"}},
  };
  for (const linger_case& c : cases) {
    SCOPED_TRACE(c.text == nullptr ? "unset" : c.text);
    const linger_variable variable(c.text);
    log::captured_log log;
    run_options o;
    read_linger_setting(o);
    EXPECT_EQ(o.linger, c.linger);
    EXPECT_EQ(log.lines(), c.logged);
  }
}

}  // namespace
}  // namespace zelk
