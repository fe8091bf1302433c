#include "src/collect/src/paths.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk {
namespace {

TEST(default_config_path, lies_under_the_install_root) {
  EXPECT_EQ(default_config_path("/opt/zelkara"), "/opt/zelkara/etc/zelk.xml");
  EXPECT_EQ(default_config_path(""), "/etc/zelk.xml");
}

TEST(paths_under, are_formed_without_a_further_separator) {
  const install_paths paths = paths_under("/opt/z");
  EXPECT_EQ(paths.providers_dir, "/opt/z/etc/providers");
  EXPECT_EQ(paths.share_dir, "/opt/z/provider/share");
  EXPECT_EQ(provider_schema_path("/opt/z"), "/opt/z/provider/provider.xsd");
}

// "/provider/share" is the longer of the two by one byte.
TEST(paths_fit, takes_4095_bytes_and_no_more) {
  const std::string share = "/provider/share";
  EXPECT_TRUE(paths_fit(paths_under(std::string(4095 - share.size(), 'd'))));
  EXPECT_FALSE(paths_fit(paths_under(std::string(4096 - share.size(), 'd'))));
}

TEST(pid_file_path, names_the_host) {
  EXPECT_EQ(pid_file_path("/opt/z/etc", "node07"), "/opt/z/etc/pidfile_node07");
  EXPECT_EQ(pid_file_path(".", ""), "./pidfile_");
}

TEST(provider_stem, cuts_four_bytes_whatever_they_are) {
  EXPECT_EQ(provider_stem("/etc/p/memory.xml"), "memory");
  EXPECT_EQ(provider_stem("x.xml"), "x");
  EXPECT_EQ(provider_stem("abcde"), "a");
}

TEST(provider_stem, is_empty_for_a_base_name_under_five_bytes) {
  EXPECT_EQ(provider_stem("a.x"), "");
  EXPECT_EQ(provider_stem(".xml"), "");
  EXPECT_EQ(provider_stem("/etc/p/"), "");
  EXPECT_EQ(provider_stem(""), "");
}

TEST(output_file_template, has_two_underscores_before_the_random_part) {
  EXPECT_EQ(output_file_template("/s", "memory", "node07", 1489412345),
            "/s/ZELK_MEMORY_node07_1489412345__XXXXXX");
}

TEST(output_file_template, stays_well_formed_without_a_host_name) {
  EXPECT_EQ(output_file_template("/s", "m", "", 7), "/s/ZELK_M__7__XXXXXX");
}

}  // namespace
}  // namespace zelk
