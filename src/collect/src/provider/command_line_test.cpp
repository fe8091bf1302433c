#include "src/collect/src/provider/command_line.h"

#include <initializer_list>
#include <limits>

#include <gtest/gtest.h>

namespace zelk {
namespace {

provider_config description_of(std::uint16_t min_nodes,
                               const std::string& command) {
  provider_config description;
  description.min_nodes = min_nodes;
  description.nodefile = "/tmp/nodes";
  description.auxiliary_path = "/opt/z/provider/share/memory";
  description.command = command;
  return description;
}

TEST(provider_command_line, puts_the_time_limit_in_front) {
  EXPECT_EQ(provider_command_line(description_of(1, "run.sh -v"), "", 100),
            "ZELK_TIMEOUT=100 run.sh -v");
}

TEST(provider_command_line, names_the_node_file_from_two_nodes_on) {
  EXPECT_EQ(provider_command_line(description_of(2, "run.sh"), "", 120),
            "ZELK_TIMEOUT=120 ZELK_DP_NODEFILE=/tmp/nodes run.sh");
  EXPECT_EQ(provider_command_line(description_of(65535, "run.sh"), "", 120),
            "ZELK_TIMEOUT=120 ZELK_DP_NODEFILE=/tmp/nodes run.sh");
}

TEST(provider_command_line, names_no_node_file_for_one_node_or_any_number) {
  for (const std::uint16_t min_nodes :
       std::initializer_list<std::uint16_t>{0, 1}) {
    SCOPED_TRACE(min_nodes);
    EXPECT_EQ(
        provider_command_line(description_of(min_nodes, "run.sh"), "", 60),
        "ZELK_TIMEOUT=60 run.sh");
  }
}

TEST(provider_command_line, puts_the_variables_before_the_node_file) {
  EXPECT_EQ(provider_command_line(description_of(2, "run.sh"),
                                  "SIZE='4' LABEL='a b' ", 60),
            "ZELK_TIMEOUT=60 SIZE='4' LABEL='a b' "
            "ZELK_DP_NODEFILE=/tmp/nodes run.sh");
}

TEST(provider_command_line, fills_in_the_auxiliary_path_everywhere) {
  EXPECT_EQ(provider_command_line(description_of(1,
                                                 "%PROVIDER_AUXILIARY_PATH%/a <"
                                                 "%PROVIDER_AUXILIARY_PATH%/b"),
                                  "", 60),
            "ZELK_TIMEOUT=60 /opt/z/provider/share/memory/a <"
            "/opt/z/provider/share/memory/b");
}

TEST(provider_command_line, fills_it_in_in_the_node_file_too) {
  provider_config description = description_of(4, "run.sh");
  description.nodefile = "%PROVIDER_AUXILIARY_PATH%/nodes";
  EXPECT_EQ(provider_command_line(description, "", 60),
            "ZELK_TIMEOUT=60 "
            "ZELK_DP_NODEFILE=/opt/z/provider/share/memory/nodes run.sh");
}

// A site may give any text to a provider, that one too.
TEST(provider_command_line, leaves_the_variables_as_they_are) {
  EXPECT_EQ(provider_command_line(description_of(1, "run.sh"),
                                  "A='%PROVIDER_AUXILIARY_PATH%' ", 60),
            "ZELK_TIMEOUT=60 A='%PROVIDER_AUXILIARY_PATH%' run.sh");
}

TEST(provider_command_line, writes_the_longest_time_limit) {
  EXPECT_EQ(provider_command_line(description_of(1, "x"), "",
                                  std::numeric_limits<std::int64_t>::max()),
            "ZELK_TIMEOUT=9223372036854775807 x");
}

}  // namespace
}  // namespace zelk
