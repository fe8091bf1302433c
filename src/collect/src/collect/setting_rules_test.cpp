#include "src/collect/src/collect/setting_rules.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

TEST(apply_setting, takes_values_and_notes_their_origin) {
  const struct {
    const char* name;
    const char* text;
    const char* shown;
  } cases[] = {
      {"launcher", "slurm", "slurm"},
      {"fanout", "128", "128"},
      {"connect_timeout", "1", "1 s"},
      {"timeout", "1", "1 s"},
      {"ssh_options", "StrictHostKeyChecking=yes", "StrictHostKeyChecking=yes"},
      {"user", "root", "root"},
      {"remote_path", "/opt/zelkara", "/opt/zelkara"},
      {"address", "head01.site", "head01.site"},
      {"stagger", "0", "0 s"},
      {"order", "random", "random"},
      {"retry", "3", "3"},
      {"shared_directory", "/scratch", "/scratch"},
      {"nodefile", "nodes", "nodes"},
      {"datastore", "sqlite:/x", "sqlite:/x"},
  };
  EXPECT_EQ(std::size(cases), setting_rules().size());
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    collect_settings settings;
    const setting_rule* rule = find_rule(one.name);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(apply_setting(settings, *rule, one.text, "here"), "");
    EXPECT_EQ(rule->show(settings), one.shown);
    EXPECT_EQ(settings.origins.at(one.name), "here");
  }
}

TEST(apply_setting, names_what_was_expected_and_changes_nothing) {
  const struct {
    const char* name;
    const char* text;
    const char* complaint;
  } cases[] = {
      {"fanout", "0", "expected a whole number, 1 to 4096; found '0'"},
      {"fanout", "4097", "expected a whole number, 1 to 4096; found '4097'"},
      {"fanout", "8 ", "expected a whole number, 1 to 4096; found '8 '"},
      {"fanout", "99999999999999999999",
       "expected a whole number, 1 to 4096; found '99999999999999999999'"},
      {"timeout", "0.5",
       "expected a whole number, 1 to 604800 seconds; found '0.5'"},
      {"connect_timeout", "",
       "expected a whole number, 1 to 3600 seconds; found ''"},
      {"order", "ROTATE",
       "expected one of none rotate_right rotate_left round_robin random; "
       "found 'ROTATE'"},
      {"shared_directory", "tmp", "expected an absolute path; found 'tmp'"},
      // Both would be options of ssh(1).
      {"user", "-oProxyCommand=x",
       "expected a login name without blanks, and no '-' in front; found "
       "'-oProxyCommand=x'"},
      {"address", "-x",
       "expected a host name or address without blanks, and no '-' in front; "
       "found '-x'"},
      {"user", "a b",
       "expected a login name without blanks, and no '-' in front; found "
       "'a b'"},
      {"ssh_options", "A=\x1b[2J",
       "expected an option as ssh -o takes it; found 'A=?[2J'"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    collect_settings settings;
    const setting_rule& rule = *find_rule(one.name);
    const std::string before = rule.show(settings);
    EXPECT_EQ(apply_setting(settings, rule, one.text, "here"), one.complaint);
    EXPECT_EQ(rule.show(settings), before);
    EXPECT_TRUE(settings.origins.empty());
  }
}

TEST(apply_setting, takes_async_for_ssh_with_a_shared_directory) {
  collect_settings settings;
  const setting_rule& launcher = *find_rule("launcher");
  EXPECT_EQ(apply_setting(settings, launcher, "async", "file"), "");
  EXPECT_EQ(settings.launcher, "ssh");
  EXPECT_TRUE(settings.async);
  EXPECT_EQ(apply_setting(settings, launcher, "ssh", "--launcher"), "");
  EXPECT_FALSE(settings.async);
}

TEST(apply_environment, takes_what_is_set_and_names_the_variable) {
  collect_settings settings;
  const auto good = [](const char* name) -> std::string {
    return std::string_view(name) == "ZELK_FANOUT" ? "7" : "";
  };
  EXPECT_EQ(apply_environment(settings, good), "");
  EXPECT_EQ(settings.fanout, 7);
  EXPECT_EQ(settings.origins.at("fanout"), "ZELK_FANOUT");
  EXPECT_EQ(settings.origins.size(), 1U);
  const auto bad = [](const char* name) -> std::string {
    return std::string_view(name) == "ZELK_FANOUT" ? "many" : "";
  };
  EXPECT_EQ(apply_environment(settings, bad),
            "ZELK_FANOUT: expected a whole number, 1 to 4096; found 'many'");
}

TEST(none_of, shows_all_and_the_nearest) {
  EXPECT_EQ(none_of("ssh", {"local", "ssh"}), "");
  EXPECT_EQ(none_of("shs", {"local", "ssh"}),
            "expected one of local ssh; found 'shs'; did you mean 'ssh'?");
}

}  // namespace
}  // namespace zelk::collect
