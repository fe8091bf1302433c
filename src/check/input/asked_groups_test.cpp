#include "src/check/input/asked_groups.h"

#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/datastore/test_scratch.h"

namespace zelk::check {
namespace {

using name_list = std::vector<std::string>;
using std::chrono::seconds;

// Stand-ins in front of the machine's own programs.
class asked_groups_ : public testing::Test {
 protected:
  asked_groups_() : path_(::getenv("PATH")) {
    ::setenv("PATH", (folder_.path() + ":" + path_).c_str(), 1);
  }
  ~asked_groups_() override { ::setenv("PATH", path_.c_str(), 1); }

  void install(const std::string& program, const std::string& script) {
    const std::string file =
        folder_.write(program, "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  }
  std::string asked() const {
    return datastore::content_of(folder_.file("asked"));
  }

  datastore::scratch folder_;
  asked_groups others_{seconds(30)};

 private:
  std::string path_;
};

TEST_F(asked_groups_, come_from_the_programs_of_the_machine) {
  const std::string note = "echo \"$@\" >>" + folder_.file("asked");
  install("sinfo", note + "; printf 'n2\\nn1\\nn1\\n'");
  install("cluset", note + "; echo 'rack[1-2]'");
  EXPECT_EQ(others_.of("slurm:it's; exit 1").names, (name_list{"n1", "n2"}));
  EXPECT_EQ(others_.of("racks").names, (name_list{"rack1", "rack2"}));
  EXPECT_EQ(asked(),
            "--noheader --Node --format=%N --partition=it's; exit 1\n"
            "--fold -- @racks\n");
}

TEST_F(asked_groups_, are_asked_for_once) {
  install("sinfo", "echo x >>" + folder_.file("asked") + "; echo n1; exit 3");
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(others_.of("slurm:debug").problem,
              "sinfo: exit status 3, silent");
  EXPECT_EQ(asked(), "x\n");
}

TEST_F(asked_groups_, end_a_program_that_hangs) {
  install("sinfo", "echo n1; exec sleep 1000");
  asked_groups hasty{seconds(2)};
  EXPECT_EQ(hasty.of("slurm:debug").problem, "sinfo did not answer");
  EXPECT_TRUE(hasty.of("slurm:debug").names.empty());
}

TEST_F(asked_groups_, need_a_program) {
  ::setenv("PATH", folder_.path().c_str(), 1);
  EXPECT_EQ(others_.of("slurm:debug").problem, "sinfo is not installed");
  EXPECT_EQ(others_.of("rack").problem,
            "there is no group '@rack' (known: @role:R, @subcluster:S, "
            "@class:C, @slurm:P, @*; others by cluset, which is not "
            "installed)");
}

// Else the end by time of the whole program comes first, and leaves it running.
TEST_F(asked_groups_, ask_nobody_when_no_time_is_left) {
  install("sinfo", "echo x >>" + folder_.file("asked"));
  asked_groups late{seconds(0)};
  EXPECT_EQ(late.of("slurm:debug").problem, "sinfo did not answer");
  EXPECT_FALSE(std::filesystem::exists(folder_.file("asked")));
}

TEST(limit_of_questions, leaves_time_to_tell_that_nobody_answered) {
  EXPECT_GT(limit_of_questions(seconds(0)), std::chrono::hours(1));
  EXPECT_EQ(limit_of_questions(seconds(55)), seconds(53));
  EXPECT_EQ(limit_of_questions(seconds(1)), seconds(0));
}

}  // namespace
}  // namespace zelk::check
