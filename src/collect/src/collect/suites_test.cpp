#include "src/collect/src/collect/suites.h"

#include "src/collect/src/collect/test_tree.h"

namespace zelk::collect {
namespace {

class choose : public collect_tree {
 protected:
  choose() {
    for (const char* name : {"cpu", "memory", "stream", "mounts"})
      install(name);
    install_cluster("pairs", 2, 4);
  }

  chosen_providers chosen(const collect_settings& from) const {
    catalogue descriptions(from);
    EXPECT_TRUE(descriptions.read_options());
    return choose_providers(from, descriptions);
  }
  words names(const collect_settings& from) const {
    const chosen_providers made = chosen(from);
    EXPECT_EQ(made.problem, "");
    return names_of(made.providers);
  }
  std::string problem(const collect_settings& from) const {
    const chosen_providers made = chosen(from);
    EXPECT_TRUE(made.providers.empty());
    std::string text = made.problem;
    for (std::size_t at; (at = text.find(config_.install_root)) != text.npos;)
      text.replace(at, config_.install_root.size(), "ROOT");
    return text;
  }
};

TEST_F(choose, takes_every_provider_of_a_single_node_by_default) {
  EXPECT_EQ(names(settings()), (words{"cpu", "memory", "mounts", "stream"}));
}

TEST_F(choose, leaves_performance_providers_out_by_default) {
  collect_settings from = settings();
  add_suite(from, "performance", {"stream", "pairs"});
  EXPECT_EQ(names(from), (words{"cpu", "memory", "mounts"}));
  from.wanted = {"@default", "@performance"};
  EXPECT_EQ(names(from), (words{"cpu", "memory", "mounts", "pairs", "stream"}));
}

TEST_F(choose, takes_a_default_that_is_configured) {
  collect_settings from = settings();
  add_suite(from, "default", {"memory"});
  EXPECT_EQ(names(from), words{"memory"});
  from.wanted = {"@all"};
  EXPECT_EQ(names(from), (words{"cpu", "memory", "mounts", "pairs", "stream"}));
}

TEST_F(choose, takes_names_and_suites_once_each) {
  collect_settings from = settings();
  add_suite(from, "quick", {"cpu", "memory"});
  add_suite(from, "more", {"@quick", "mounts"});
  from.wanted = {"memory", "@more", "cpu"};
  EXPECT_EQ(names(from), (words{"cpu", "memory", "mounts"}));
}

// What results are called and what files are called may differ in case, and
// wholly.
TEST_F(choose, knows_a_provider_by_the_name_of_its_results_too) {
  put("etc/providers/gpu_inventory.xml",
      "<provider name='GPUs'><command>true</command></provider>");
  collect_settings from = settings();
  from.wanted = {"MEMORY", "GPUs"};
  EXPECT_EQ(names(from), (words{"gpu_inventory", "memory"}));
}

TEST_F(choose, skips_names_and_suites) {
  collect_settings from = settings();
  add_suite(from, "quick", {"cpu", "memory"});
  from.skipped = {"@quick"};
  EXPECT_EQ(names(from), (words{"mounts", "stream"}));
}

TEST_F(choose, takes_descriptions_by_their_paths) {
  const std::string path =
      write("own/probe.xml", "<provider><command>true</command></provider>");
  collect_settings from = settings();
  from.provider_files = {path};
  EXPECT_EQ(names(from), words{"probe"});
  from.wanted = {"memory"};
  EXPECT_EQ(names(from), (words{"memory", "probe"}));
  from.skipped = {"probe"};
  EXPECT_EQ(names(from), words{"memory"});
}

TEST_F(choose, says_what_it_does_not_find) {
  const auto wanting = [&](const char* word) {
    collect_settings from = settings();
    add_suite(from, "quick", {"cpu"});
    add_suite(from, "bad", {"nothing"});
    add_suite(from, "round", {"@about"});
    add_suite(from, "about", {"@round"});
    from.wanted = {word};
    return problem(from);
  };
  EXPECT_EQ(wanting("memroy"),
            "there is no provider 'memroy'; did you mean 'memory'?");
  EXPECT_EQ(wanting("frobnicate"), "there is no provider 'frobnicate'");
  EXPECT_EQ(wanting("@quikc"),
            "there is no suite '@quikc'; did you mean '@quick'?");
  EXPECT_EQ(wanting("quick"),
            "there is no provider 'quick'; the suite is '@quick'");
  EXPECT_EQ(wanting("@bad"), "zelk.xml:3: there is no provider 'nothing'");
  EXPECT_EQ(wanting("@round"), "zelk.xml:2: the suite '@round' holds itself");
  EXPECT_EQ(wanting("@"), "there is no suite '@'");
  EXPECT_EQ(wanting("../../etc/passwd"),
            "there is no provider '../../etc/passwd'");
  EXPECT_EQ(wanting(""), "there is no provider ''");
}

// A misspelt --skip must not run what was to be left out.
TEST_F(choose, does_not_pass_over_a_name_to_skip) {
  collect_settings from = settings();
  from.skipped = {"strem"};
  EXPECT_EQ(problem(from),
            "there is no provider 'strem'; did you mean 'stream'?");
}

TEST_F(choose, wants_something_to_be_left) {
  collect_settings from = settings();
  from.wanted = {"memory"};
  from.skipped = {"memory"};
  EXPECT_EQ(problem(from), "there is no provider to run");
}

TEST_F(choose, tells_an_option_of_other_tools_from_a_file) {
  collect_settings from = settings();
  from.provider_files = {"64"};
  EXPECT_EQ(problem(from),
            "cannot read provider description '64'; for 64 connections at "
            "once use --fanout 64");
  from.provider_files = {"/nowhere/x.xml"};
  EXPECT_EQ(problem(from),
            "cannot read provider description "
            "'/nowhere/x.xml' (2): No such file or directory");
  from.provider_files = {write("a", "")};
  EXPECT_TRUE(problem(from).ends_with("expected a file name like NAME.xml"));
}

TEST_F(choose, stops_at_a_description_that_is_at_fault) {
  put("etc/providers/broken.xml", "<provider><comand/></provider>");
  EXPECT_EQ(problem(settings()),
            "the provider description 'ROOT/etc/providers/broken.xml' cannot "
            "be used; '--skip broken' leaves it out");
  EXPECT_EQ(said().size(), 1U);
  collect_settings from = settings();
  from.wanted = {"memory"};
  EXPECT_EQ(names(from), words{"memory"});
  from.wanted = {};
  from.skipped = {"broken"};
  EXPECT_EQ(names(from), (words{"cpu", "memory", "mounts", "stream"}));
  EXPECT_EQ(said().size(), 1U);
}

// One name for two providers would mix their results up.
TEST_F(choose, refuses_two_of_one_name) {
  collect_settings from = settings();
  const std::string path =
      write("own/memory.xml", "<provider><command>true</command></provider>");
  from.provider_files = {path};
  from.wanted = {"memory"};
  EXPECT_EQ(problem(from), "two descriptions have the name 'memory': '" + path +
                               "' and 'ROOT/etc/providers/memory.xml'");
  put("etc/providers/other.xml",
      "<provider name='cpu'><command>true</command></provider>");
  from = settings();
  EXPECT_EQ(problem(from),
            "the results of two providers would have the name 'cpu': "
            "'ROOT/etc/providers/cpu.xml' and 'ROOT/etc/providers/other.xml'");
}

}  // namespace
}  // namespace zelk::collect
