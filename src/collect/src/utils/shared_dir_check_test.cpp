#include "src/collect/src/utils/shared_dir_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "src/common/str/str.h"
#include "src/common/util/test_processes.h"

namespace zelk {
namespace {

using util::testing::scratch_folder;

const std::string command_for_tmp_shared =
    "if [[ ! -d /tmp/shared ]]; then echo ZELK_PRECHECK_ND;"
    "elif [[ ! -w /tmp/shared ]] || [[ ! -x /tmp/shared ]] || "
    "[[ ! -r /tmp/shared ]]; then echo ZELK_PRECHECK_NON_RW;"
    "else echo ZELK_PRECHECK_OK;fi;"
    "stat -c \"#####SHAREDDIR_INODE %i#####\" /tmp/shared;";

std::string output_of(const std::string& program) {
  std::string text;
  FILE* pipe = popen(program.c_str(), "r");
  if (pipe == nullptr) return "popen failed";
  std::array<char, 4096> buffer{};
  while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe)) {
    text.append(buffer.data(), got);
  }
  pclose(pipe);
  return text;
}

// As a node runs it: by bash, `path` being its PATH.
std::string bash_prints(const std::string& command,
                        const std::string& path = "/usr/bin:/bin") {
  const std::string quoted = str::replace(command, "'", "'\\''");
  return output_of("PATH='" + path + "' /bin/bash -c '" + quoted +
                   "' 2>/dev/null");
}

std::string inode_line(const std::string& path) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return "no such path";
  return "#####SHAREDDIR_INODE " + std::to_string(facts.st_ino) + "#####\n";
}

TEST(build_shared_dir_check_command, is_exactly_this_text) {
  EXPECT_EQ(build_shared_dir_check_command("/tmp/shared", true),
            command_for_tmp_shared);
}

TEST(build_shared_dir_check_command, asks_for_the_host_name_first) {
  const std::string opening = "echo \"#####ZELK_HOSTNAME `hostname`#####\";";
  EXPECT_EQ(opening.size(), 42U);
  EXPECT_EQ(build_shared_dir_check_command("/tmp/shared", false),
            opening + command_for_tmp_shared);
}

TEST(build_shared_dir_check_command, begins_with_the_test_without_host_name) {
  EXPECT_EQ(build_shared_dir_check_command("/x", true).find("if [[ ! -d "), 0U);
}

TEST(build_shared_dir_check_command, does_not_quote_the_directory) {
  EXPECT_EQ(build_shared_dir_check_command("/a b", true).substr(0, 19),
            "if [[ ! -d /a b ]];");
  EXPECT_EQ(build_shared_dir_check_command("", true).substr(0, 15),
            "if [[ ! -d  ]];");
}

TEST(build_shared_dir_check_command, finds_a_usable_directory) {
  const scratch_folder folder;
  EXPECT_EQ(bash_prints(build_shared_dir_check_command(folder.path(), true)),
            "ZELK_PRECHECK_OK\n" + inode_line(folder.path()));
}

TEST(build_shared_dir_check_command, prints_the_name_that_the_node_has) {
  const scratch_folder folder;
  EXPECT_EQ(bash_prints(build_shared_dir_check_command(folder.path(), false)),
            "#####ZELK_HOSTNAME " + output_of("hostname | tr -d '\\n'") +
                "#####\nZELK_PRECHECK_OK\n" + inode_line(folder.path()));
}

TEST(build_shared_dir_check_command, says_that_there_is_no_directory) {
  const scratch_folder folder;
  EXPECT_EQ(bash_prints(build_shared_dir_check_command(
                folder.path() + "/absent", true)),
            "ZELK_PRECHECK_ND\n");
}

TEST(build_shared_dir_check_command, gives_the_inode_in_every_branch) {
  const scratch_folder folder;
  const std::string file = folder.path() + "/file";
  std::ofstream(file) << "x";
  EXPECT_EQ(bash_prints(build_shared_dir_check_command(file, true)),
            "ZELK_PRECHECK_ND\n" + inode_line(file));
}

TEST(build_shared_dir_check_command, finds_wrong_permissions) {
  constexpr uid_t ordinary_user = 65534;
  const scratch_folder folder;
  const std::string command =
      build_shared_dir_check_command(folder.path(), true);
  // No permission stops root.
  std::string run = "/bin/bash -c '" + command + "'";
  if (geteuid() == 0) {
    ASSERT_EQ(chown(folder.path().c_str(), ordinary_user, ordinary_user), 0);
    run = "setpriv --reuid " + std::to_string(ordinary_user) +
          " --clear-groups " + run;
  }
  for (const mode_t mode : {0300U, 0500U, 0600U, 0000U}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(chmod(folder.path().c_str(), mode), 0);
    EXPECT_EQ(output_of(run),
              "ZELK_PRECHECK_NON_RW\n" + inode_line(folder.path()));
  }
  ASSERT_EQ(chmod(folder.path().c_str(), 0700U), 0);
  EXPECT_EQ(output_of(run), "ZELK_PRECHECK_OK\n" + inode_line(folder.path()));
}

TEST(build_shared_dir_check_command, gives_no_inode_on_a_node_without_stat) {
  const scratch_folder folder;
  EXPECT_EQ(bash_prints(build_shared_dir_check_command(folder.path(), true),
                        folder.path()),
            "ZELK_PRECHECK_OK\n");
}

TEST(build_shared_dir_check_command, is_not_understood_by_a_shell_without_it) {
  const scratch_folder folder;
  const std::string command =
      build_shared_dir_check_command(folder.path(), true);
  // "[[" is a command that is not there: the answer is wrong, and must not be
  // taken from such a shell.
  EXPECT_EQ(
      output_of("PATH=/usr/bin:/bin dash -c '" + command + "' 2>/dev/null"),
      "ZELK_PRECHECK_OK\n" + inode_line(folder.path()));
  EXPECT_EQ(output_of("PATH=/usr/bin:/bin dash -c '" +
                      build_shared_dir_check_command("/absent", true) +
                      "' 2>/dev/null"),
            "ZELK_PRECHECK_OK\n");
}

TEST(reported_inode, is_the_number_between_the_marks) {
  EXPECT_EQ(reported_inode("#####SHAREDDIR_INODE 1234#####"), "1234");
  EXPECT_EQ(reported_inode(" noise #####SHAREDDIR_INODE 1234##### noise"),
            "1234");
  EXPECT_EQ(reported_inode("######SHAREDDIR_INODE 7######"), "7");
}

TEST(reported_inode, is_absent_without_the_marks) {
  for (const char* field :
       {"", "1234", "#####SHAREDDIR_INODE 1234####", "SHAREDDIR_INODE 1234",
        "####SHAREDDIR_INODE 1234#####", "#####SHAREDDIR_INODE #####",
        "#####SHAREDDIR_INODE  1234#####", "#####SHAREDDIR_INODE -1#####",
        "#####SHAREDDIR_INODE 12a4#####", "#####shareddir_inode 1234#####"}) {
    SCOPED_TRACE(field);
    EXPECT_EQ(reported_inode(field), std::nullopt);
  }
}

TEST(reported_inode, is_the_first_one_that_is_whole) {
  EXPECT_EQ(reported_inode("#####SHAREDDIR_INODE x##### "
                           "#####SHAREDDIR_INODE 5##### "
                           "#####SHAREDDIR_INODE 6#####"),
            "5");
}

TEST(reported_host_name, is_the_text_between_the_marks) {
  EXPECT_EQ(reported_host_name(" #####ZELK_HOSTNAME node-01#####"), "node-01");
  EXPECT_EQ(reported_host_name("x#####ZELK_HOSTNAME node01.a.b#####x"),
            "node01.a.b");
}

TEST(reported_host_name, stops_at_the_first_white_space) {
  EXPECT_EQ(reported_host_name("#####ZELK_HOSTNAME a##### b#####"), "a");
  EXPECT_EQ(reported_host_name("#####ZELK_HOSTNAME a b#####"), std::nullopt);
  EXPECT_EQ(reported_host_name("#####ZELK_HOSTNAME a\tb#####"), std::nullopt);
}

TEST(reported_host_name, reaches_to_the_last_mark_before_white_space) {
  EXPECT_EQ(reported_host_name("#####ZELK_HOSTNAME a#####b##### c"), "a#####b");
}

TEST(reported_host_name, is_what_the_pattern_finds) {
  for (const char* field :
       {"#####ZELK_HOSTNAME node01#####", "##########ZELK_HOSTNAME x#####",
        "#####ZELK_HOSTNAME ######", "#####ZELK_HOSTNAME #####",
        "#####ZELK_HOSTNAME #####ZELK_HOSTNAME a#####", "nothing",
        "#####ZELK_HOSTNAME \303\244#####"}) {
    SCOPED_TRACE(field);
    std::smatch match;
    const std::string text = field;
    const bool there = std::regex_search(text, match, host_pattern);
    EXPECT_EQ(reported_host_name(text).has_value(), there);
    if (!there) continue;
    EXPECT_EQ(reported_host_name(text), match[1].str());
  }
}

// The library's matcher calls itself for each character: a megabyte of them
// would end the program.
TEST(reported_host_name, survives_a_field_of_a_megabyte) {
  const std::string opening = "#####ZELK_HOSTNAME ";
  const std::string megabyte(std::size_t{1} << 20, 'x');
  EXPECT_EQ(reported_host_name(opening + megabyte + "#####"), std::nullopt);
  EXPECT_EQ(reported_host_name(megabyte + opening + "n1#####" + megabyte),
            "n1");
  EXPECT_EQ(reported_host_name(megabyte + opening + "n1##### " + megabyte),
            "n1");
  EXPECT_EQ(reported_inode("#####SHAREDDIR_INODE " +
                           std::string(std::size_t{1} << 20, '1') + "#####"),
            std::nullopt);
  const std::string longest(4096, 'h');
  EXPECT_EQ(reported_host_name(opening + longest + "#####"), longest);
}

TEST(reported_host_name, takes_time_in_proportion_to_the_field) {
  std::string field;
  while (field.size() < (std::size_t{1} << 20))
    field += "#####ZELK_HOSTNAME ";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(reported_host_name(field), std::nullopt);
  EXPECT_EQ(reported_inode(field), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace zelk
