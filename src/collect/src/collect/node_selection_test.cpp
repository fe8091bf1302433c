#include "src/collect/src/collect/node_selection.h"

#include "src/collect/src/collect/test_tree.h"

namespace zelk::collect {
namespace {

constexpr char cluster[] =
    "head01 role=head,login\n"
    "node[01-04] role=compute\n"
    "gpu[1-2] role=enhanced subcluster=gpu\n"
    "nas role=storage\n";

class select : public collect_tree {
 protected:
  // A node file that was typed with -n, or came from somewhere else.
  void use_nodefile(std::string_view text, bool typed = true) {
    from_.nodefile = write("nodes", text);
    from_.origins["nodefile"] = typed ? "--nodefile" : "ZELK_NODEFILE";
  }
  node_selection selected() { return select_nodes(from_, world_.outside()); }
  words names() {
    const node_selection made = selected();
    EXPECT_EQ(made.problem, "");
    words all;
    for (const selected_node& one : made.nodes)
      all.push_back(one.name);
    return all;
  }
  std::string problem() {
    const node_selection made = selected();
    EXPECT_TRUE(made.nodes.empty());
    const std::string folder = write("x", "");
    std::string text = made.problem;
    const std::string prefix = folder.substr(0, folder.size() - 1);
    for (std::size_t at; (at = text.find(prefix)) != text.npos;)
      text.erase(at, prefix.size());
    return text;
  }

  collect_settings from_ = settings();
  empty_world world_;
};

TEST_F(select, takes_this_machine_when_nothing_says_more) {
  EXPECT_EQ(names(), words{"this-host"});
  EXPECT_TRUE(selected().only_this_machine);
  from_.own_name = "head";
  EXPECT_EQ(names(), words{"head"});
}

TEST_F(select, takes_what_was_typed) {
  from_.nodes = {"n[9-11]", "n1"};
  from_.excluded = {"n10", "n99"};
  EXPECT_EQ(names(), (words{"n1", "n9", "n11"}));
  EXPECT_FALSE(selected().only_this_machine);
  from_.and_nodes = {"n[1-9]"};
  EXPECT_EQ(names(), (words{"n1", "n9"}));
}

// A zero is part of a name; results of one node must not go to another.
TEST_F(select, keeps_node1_and_node01_apart) {
  from_.nodes = {"node1,node01,node001"};
  from_.excluded = {"node01"};
  EXPECT_EQ(names(), (words{"node1", "node001"}));
}

TEST_F(select, reads_standard_input_once) {
  world_.input.str("n1\nn2 n3\n");
  from_.nodes = {"-", "n9"};
  from_.excluded = {"-!n2"};
  EXPECT_EQ(problem(),
            "-x: expected no '-' in front of a name; -x and '!' leave nodes "
            "out\n-!n2\n^");
  world_.input.clear();
  world_.input.str("n1\nn2 n3\n");
  from_.excluded = {"n2"};
  from_.and_nodes = {"-"};
  EXPECT_EQ(names(), (words{"n1", "n3"}));
}

TEST_F(select, takes_the_workers_of_a_node_file) {
  use_nodefile(cluster);
  EXPECT_EQ(names(),
            (words{"node01", "node02", "node03", "node04", "gpu1", "gpu2"}));
  EXPECT_EQ(selected().nodes.back().role, "enhanced");
  EXPECT_EQ(selected().nodes.back().subcluster, "gpu");
  use_nodefile("b\na\nb\n");
  EXPECT_EQ(names(), (words{"b", "a"}));
}

TEST_F(select, narrows_by_role_and_subcluster) {
  use_nodefile(cluster);
  from_.roles = {"login", "storage"};
  EXPECT_EQ(names(), (words{"head01", "nas"}));
  from_.roles = {};
  from_.subclusters = {"gpu"};
  EXPECT_EQ(names(), (words{"gpu1", "gpu2"}));
  from_.nodes = {"node01,gpu1"};
  EXPECT_EQ(names(), words{"gpu1"});
  from_.roles = {"compute"};
  EXPECT_EQ(problem(), "no node matches the selection");
}

TEST_F(select, knows_groups_of_the_node_file) {
  use_nodefile(cluster);
  from_.nodes = {"@role:login,@subcluster:gpu!gpu2"};
  EXPECT_EQ(names(), (words{"gpu1", "head01"}));
  from_.nodes = {"@*!@role:compute"};
  EXPECT_EQ(names(), (words{"gpu1", "gpu2", "head01", "nas"}));
  from_.nodes = {"gpu*"};
  EXPECT_EQ(names(), (words{"gpu1", "gpu2"}));
  EXPECT_TRUE(world_.commands.empty());
}

TEST_F(select, asks_slurm_and_cluset_for_other_groups) {
  world_.reply = {true, 0, "n2\nn1\nn1\n", ""};
  from_.nodes = {"@slurm:it's"};
  EXPECT_EQ(names(), (words{"n1", "n2"}));
  EXPECT_EQ(world_.commands.front(),
            "'sinfo' '--noheader' '--Node' '--format=%N' "
            "'--partition=it'\\''s'");
  world_.commands.clear();
  from_.nodes = {"@rack1"};
  EXPECT_EQ(names(), (words{"n1", "n2"}));
  EXPECT_EQ(world_.commands.front(), "'cluset' '--fold' '--' '@rack1'");
}

TEST_F(select, says_why_a_group_cannot_be_had) {
  const auto asked = [&](const char* group, const util::program_answer& reply) {
    world_.reply = reply;
    from_.nodes = {group};
    const std::string text = problem();
    return text.substr(0, text.find('\n'));
  };
  EXPECT_EQ(asked("@slurm:x", {true, 127, "", "sinfo: not found"}),
            "-w: sinfo is not installed");
  EXPECT_EQ(asked("@slurm:x", {true, 124, "", ""}), "-w: sinfo did not answer");
  EXPECT_EQ(asked("@slurm:x", {true, 1, "", "sinfo: error: no\x1b way\nmore"}),
            "-w: sinfo: sinfo: error: no? way");
  EXPECT_EQ(asked("@slurm:x", {true, 0, "", ""}),
            "-w: Slurm has no nodes in a partition 'x'");
  EXPECT_EQ(asked("@slurm:x", {true, 0, "-oProxyCommand=x\n", ""}),
            "-w: sinfo printed no node set: expected no '-' in front of a "
            "name; -x and '!' leave nodes out");
  EXPECT_EQ(asked("@slurm:x", {false, 0, "", "(12): Cannot allocate memory"}),
            "-w: cannot run sinfo: (12): Cannot allocate memory");
  EXPECT_EQ(asked("@x", {true, 0, "\n", ""}),
            "-w: cluset knows no nodes of a group '@x'");
  EXPECT_EQ(asked("@x", {true, 127, "", ""}),
            "-w: there is no group '@x' (known: @role:..., @subcluster:..., "
            "@slurm:..., @*; others by cluset, which is not installed)");
  EXPECT_EQ(asked("@role:login", {}),
            "-w: expected a node file (-n), which has the roles");
  use_nodefile(cluster);
  EXPECT_EQ(asked("@role:lgin", {}),
            "-w: no node has the role 'lgin'; did you mean 'login'?");
}

TEST_F(select, marks_the_column_of_a_mistake) {
  from_.nodes = {"a,node[3-1]"};
  EXPECT_EQ(problem(),
            "-w: expected a range that goes up\na,node[3-1]\n       ^");
}

TEST_F(select, takes_the_list_of_a_job_and_says_so) {
  world_.variables["SLURM_JOB_NODELIST"] = "n[1-2],gpu1";
  EXPECT_EQ(names(), (words{"gpu1", "n1", "n2"}));
  EXPECT_EQ(selected().remarks,
            words{"using the nodes of this Slurm job (SLURM_JOB_NODELIST): "
                  "gpu1,n[1-2] (3)"});
  EXPECT_FALSE(selected().only_this_machine);
  world_.variables.clear();
  world_.variables["PBS_NODEFILE"] = write("pbs", "n7\nn7\nn8\n");
  EXPECT_EQ(names(), (words{"n7", "n8"}));
  EXPECT_EQ(selected().remarks,
            words{"using the nodes of this PBS job (PBS_NODEFILE): n[7-8] "
                  "(2)"});
}

TEST_F(select, prefers_what_was_typed_to_the_list_of_a_job) {
  world_.variables["SLURM_JOB_NODELIST"] = "n[1-2]";
  from_.nodes = {"x"};
  EXPECT_EQ(names(), words{"x"});
  EXPECT_EQ(selected().remarks, words{});
  from_.nodes = {};
  use_nodefile("y\n");
  EXPECT_EQ(names(), words{"y"});
  EXPECT_EQ(selected().remarks, words{});
}

// Inside an allocation the other nodes are somebody else's.
TEST_F(select, prefers_the_list_of_a_job_to_a_node_file_of_the_site) {
  world_.variables["SLURM_JOB_NODELIST"] = "node0[1-2]";
  use_nodefile(cluster, false);
  EXPECT_EQ(names(), (words{"node01", "node02"}));
  EXPECT_EQ(selected().nodes.front().role, "compute");
  world_.variables.clear();
  EXPECT_EQ(names().size(), 6U);
}

TEST_F(select, refuses_a_bad_list_of_a_job) {
  world_.variables["SLURM_JOB_NODELIST"] = "n[1-";
  EXPECT_EQ(problem(), "SLURM_JOB_NODELIST: expected ']' behind '['\nn[1-\n ^");
  world_.variables.clear();
  world_.variables["PBS_NODEFILE"] = "/nowhere";
  EXPECT_EQ(problem(),
            "cannot read the job's node file '/nowhere' (2): No "
            "such file or directory");
}

TEST_F(select, refuses_node_files_it_does_not_understand) {
  from_.nodefile = "/nowhere";
  EXPECT_EQ(problem(),
            "cannot read node file '/nowhere' (2): No such file or directory");
  from_.nodefile = "/";
  EXPECT_EQ(problem(), "cannot read node file '/': it is a folder");
  use_nodefile("# nobody\n");
  EXPECT_EQ(problem(), "expected a node in the node file 'nodes'");
  use_nodefile("a rol=compute\n");
  EXPECT_EQ(problem(),
            "nodes:1: expected role=..., subcluster=... or class=..., not "
            "'rol=compute'");
  use_nodefile("a\nb role=comput\n");
  EXPECT_EQ(problem(), "nodes:2: expected a role, not 'comput'");
  use_nodefile("a role=head\n");
  EXPECT_EQ(problem(),
            "no node of 'nodes' has the role compute or enhanced; "
            "--role or -w names others");
  // ssh would take it for an option.
  use_nodefile("-oProxyCommand=reboot\n");
  EXPECT_EQ(problem(),
            "expected no '-' in front of a name; found "
            "'-oProxyCommand=reboot'");
}

TEST_F(select, wants_roles_to_exist) {
  from_.roles = {"login"};
  EXPECT_EQ(problem(),
            "--role and --subcluster need a node file (-n), which has them");
  use_nodefile(cluster);
  from_.roles = {"lgin"};
  EXPECT_EQ(problem(),
            "no node of 'nodes' has the role 'lgin'; did you mean 'login'?");
  from_.roles = {};
  from_.subclusters = {"cpu"};
  EXPECT_EQ(problem(),
            "no node of 'nodes' has the subcluster 'cpu'; did you "
            "mean 'gpu'?");
}

TEST_F(select, is_an_error_when_no_node_is_left) {
  from_.nodes = {"n[1-3]"};
  from_.excluded = {"n[1-9]"};
  EXPECT_EQ(problem(), "no node matches the selection");
  from_.nodes = {""};
  EXPECT_EQ(problem(), "no node matches the selection");
}

TEST_F(select, picks_at_random_with_a_seed_that_is_told) {
  from_.nodes = {"n[1-100]"};
  from_.pick = 3;
  from_.seed = 5;
  const words first = names();
  EXPECT_EQ(first.size(), 3U);
  EXPECT_EQ(names(), first);
  EXPECT_TRUE(selected().remarks.front().ends_with("(3) with --seed 5"));
  from_.seed.reset();
  const node_selection made = selected();
  ASSERT_TRUE(made.seed);
  from_.seed = made.seed;
  EXPECT_EQ(names().front(), made.nodes.front().name);
  from_.pick = 1000;
  EXPECT_EQ(names().size(), 100U);
  EXPECT_FALSE(selected().seed);
}

TEST_F(select, leaves_busy_nodes_out_and_names_them) {
  world_.reply = {true, 0, "n1\nn3\n", ""};
  from_.nodes = {"n[1-4]"};
  from_.idle = true;
  EXPECT_EQ(names(), (words{"n1", "n3"}));
  EXPECT_EQ(selected().busy, (words{"n2", "n4"}));
  EXPECT_EQ(world_.commands.front(),
            "'sinfo' '--noheader' '--Node' '--format=%N' '--states=idle'");
  world_.reply.output = "";
  EXPECT_EQ(problem(), "--idle: no node is idle of n[1-4] (4)");
}

}  // namespace
}  // namespace zelk::collect
