#include "src/check/input/node_notes.h"

#include <gtest/gtest.h>

#include "src/collect/src/reading/failure.h"
#include "src/common/datastore/test_scratch.h"
#include "src/common/log/captured_log.h"

namespace zelk::check {
namespace {

using name_list = std::vector<std::string>;

run_data cluster() {
  run_data run;
  run.nodes = {"gpu1", "node1", "node2", "node10"};
  run.notes.resize(4);
  return run;
}

// A machine that has no other groups.
asked_groups& nobody() {
  static asked_groups none([](const name_list& words) {
    ADD_FAILURE() << "asks " << words.front();
    return program_answer{true, 127, "", ""};
  });
  return none;
}

class node_notes_ : public testing::Test {
 protected:
  std::string complaint_about(const std::string& text) {
    try {
      read_nodefile(folder_.write("nodes", text));
    } catch (const reading::refusal& error) {
      return error.what();
    }
    return "";
  }

  datastore::scratch folder_;
  log::captured_log log_;
};

TEST_F(node_notes_, come_from_the_node_file) {
  run_data run = cluster();
  give_notes(run, read_nodefile(folder_.write(
                      "nodes",
                      "gpu[1-4] role=compute,enhanced subcluster=gpu class=G\n"
                      "node1 role=login\n")));
  EXPECT_EQ(run.notes[0].role, "compute,enhanced");
  EXPECT_EQ(run.notes[0].subcluster, "gpu");
  EXPECT_EQ(run.notes[0].class_name, "G");
  EXPECT_EQ(run.notes[1].role, "login");
  EXPECT_EQ(run.notes[2].role, "");
}

TEST_F(node_notes_, complain_about_files_that_cannot_be_used) {
  EXPECT_NE(complaint_about("n1 rol=x\n").find("nodes:1: expected role="),
            std::string::npos);
  EXPECT_NE(complaint_about("# none\n").find("expected a node"),
            std::string::npos);
  EXPECT_THROW(read_nodefile(folder_.path()), reading::refusal);
  EXPECT_THROW(read_nodefile(folder_.file("nothing")), reading::refusal);
}

std::string complaint_about(const std::vector<class_override>& classes) {
  run_data run = cluster();
  try {
    give_classes(run, classes, nobody());
  } catch (const reading::refusal& error) {
    return error.what();
  }
  return "";
}

TEST(give_classes, puts_them_over_notes) {
  run_data run = cluster();
  run.notes[1] = {"login", "", "old"};
  EXPECT_TRUE(give_classes(run, {{"G", "gpu1"}, {"L", "@role:login"}}, nobody())
                  .empty());
  EXPECT_EQ(run.notes[0].class_name, "G");
  EXPECT_EQ(run.notes[1].class_name, "L");
  EXPECT_EQ(run.notes[3].class_name, "");
}

// Which of the two was meant nobody can tell.
TEST(give_classes, refuses_a_node_in_two_classes) {
  EXPECT_EQ(complaint_about({{"all", "@*"}, {"mine", "node2"}}),
            "--class: 'node2' is in two classes, all and mine");
  EXPECT_EQ(complaint_about({{"X", "node[8-9]"}, {"Y", "node9"}}),
            "--class: 'node9' is in two classes, X and Y");
  EXPECT_EQ(complaint_about({{"X", "node[1-2]"}, {"X", "node2"}}), "");
}

TEST(give_classes, names_nodes_that_are_not_in_the_run) {
  run_data run = cluster();
  EXPECT_EQ(
      give_classes(run, {{"X", "node[2-3,9]"}, {"Y", "a,node1"}}, nobody()),
      (name_list{"a", "node3", "node9"}));
  EXPECT_EQ(run.notes[2].class_name, "X");
  EXPECT_EQ(run.notes[3].class_name, "");
}

TEST(read_class_override, wants_a_name_and_a_node_set) {
  EXPECT_EQ(read_class_override("A=n[1-2]").name, "A");
  EXPECT_EQ(read_class_override("A=n[1-2]").nodes, "n[1-2]");
  for (const char* text : {"", "A", "=n1", "A="})
    EXPECT_THROW(read_class_override(text), reading::refusal) << text;
}

TEST(names_of, knows_groups_of_notes_and_of_classes_found) {
  run_data run = cluster();
  run.notes[0] = {"compute,enhanced", "gpu", "old"};
  node_groups groups = groups_of(run);
  add_classes(groups, {{"A", {}, {"node1", "node2"}, true, ""}});
  EXPECT_EQ(names_of("-w", {"@role:enhanced", "@class:A"}, groups, nobody()),
            (name_list{"gpu1", "node1", "node2"}));
  EXPECT_EQ(names_of("-w", {"@*!node*"}, groups, nobody()), name_list{"gpu1"});
  try {
    names_of("-w", {"@role:enhnaced"}, groups, nobody());
    ADD_FAILURE();
  } catch (const reading::refusal& error) {
    EXPECT_NE(std::string(error.what()).find("did you mean '@role:enhanced'?"),
              std::string::npos);
  }
  EXPECT_THROW(names_of("-w", {"@class:old"}, groups, nobody()),
               reading::refusal);
  EXPECT_THROW(names_of("-w", {"node[3-1]"}, groups, nobody()),
               reading::refusal);
}

TEST(names_of, asks_others_for_what_is_no_group_of_the_run) {
  run_data run = cluster();
  const node_groups groups = groups_of(run);
  asked_groups others([](const name_list& words) {
    return words.front() == "sinfo" ? program_answer{true, 0, "node[1-2]", ""}
                                    : program_answer{true, 127, "", ""};
  });
  EXPECT_EQ(names_of("-x", {"@slurm:debug!node1"}, groups, others),
            name_list{"node2"});
  EXPECT_TRUE(give_classes(run, {{"D", "@slurm:debug"}}, others).empty());
  EXPECT_EQ(run.notes[2].class_name, "D");
  try {
    names_of("-w", {"gpu1,@rack1"}, groups, others);
    ADD_FAILURE();
  } catch (const reading::refusal& error) {
    EXPECT_EQ(std::string(error.what()),
              "-w: there is no group '@rack1' (known: @role:R, @subcluster:S, "
              "@class:C, @slurm:P, @*; others by cluset, which is not "
              "installed)\ngpu1,@rack1\n     ^");
  }
}

TEST(names_of, finds_slips_in_what_nobody_knows) {
  run_data run = cluster();
  run.notes[0].role = "login";
  asked_groups others([](const name_list&) {
    return program_answer{true, 1, "", "no"};
  });
  try {
    names_of("-w", {"@rol:login"}, groups_of(run), others);
    ADD_FAILURE();
  } catch (const reading::refusal& error) {
    EXPECT_TRUE(std::string(error.what())
                    .starts_with("-w: cluset: no; did you mean '@role:login'?"))
        << error.what();
  }
}

TEST(names_of, says_where_roles_come_from) {
  const node_groups groups = groups_of(cluster());
  for (const char* kind : {"role", "subcluster"})
    try {
      names_of("-w", {std::string("@") + kind + ":x"}, groups, nobody());
      ADD_FAILURE() << kind;
    } catch (const reading::refusal& error) {
      const std::string text = error.what();
      EXPECT_NE(text.find(std::string("no node of the run has a ") + kind),
                std::string::npos)
          << text;
      EXPECT_NE(text.find("-n FILE"), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace zelk::check
