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

TEST(give_classes, puts_the_later_over_the_earlier) {
  run_data run = cluster();
  run.notes[1].role = "login";
  give_classes(run, {{"all", "@*"}, {"mine", "node*"}, {"L", "@role:login"}});
  EXPECT_EQ(run.notes[0].class_name, "all");
  EXPECT_EQ(run.notes[1].class_name, "L");
  EXPECT_EQ(run.notes[3].class_name, "mine");
}

TEST(give_classes, passes_over_nodes_that_are_not_in_the_run) {
  run_data run = cluster();
  give_classes(run, {{"X", "node[2-9]"}});
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
  EXPECT_EQ(names_of("-w", {"@role:enhanced", "@class:A"}, groups),
            (name_list{"gpu1", "node1", "node2"}));
  EXPECT_EQ(names_of("-w", {"@*!node*"}, groups), name_list{"gpu1"});
  try {
    names_of("-w", {"@role:enhnaced"}, groups);
    ADD_FAILURE();
  } catch (const reading::refusal& error) {
    EXPECT_NE(std::string(error.what()).find("did you mean '@role:enhanced'?"),
              std::string::npos);
  }
  EXPECT_THROW(names_of("-w", {"@class:old"}, groups), reading::refusal);
  EXPECT_THROW(names_of("-w", {"node[3-1]"}, groups), reading::refusal);
}

}  // namespace
}  // namespace zelk::check
