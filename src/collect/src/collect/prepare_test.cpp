#include "src/collect/src/collect/prepare.h"

#include <nlohmann/json.hpp>

#include "src/collect/src/collect/make_plan.h"
#include "src/collect/src/collect/test_tree.h"

namespace zelk::collect {
namespace {

using json = nlohmann::json;

class preparing : public collect_tree {
 protected:
  preparing() {
    install("cpu", "<description>What\n computes</description>");
    install("memory");
    install_cluster("pairs", 2, 2);
  }

  void run(const words& arguments) {
    std::vector<const char*> argv = {"zelk-collect"};
    for (const std::string& word : arguments)
      argv.push_back(word.c_str());
    settings_ = {};
    plan_ = {};
    const std::size_t before = said().size();
    std::ostringstream out;
    std::streambuf* const own = std::cout.rdbuf(out.rdbuf());
    status_ =
        prepare(static_cast<int>(argv.size()), argv.data(), settings_, plan_);
    std::cout.rdbuf(own);
    out_ = out.str();
    for (std::size_t at; (at = out_.find(config_.install_root)) != out_.npos;)
      out_.replace(at, config_.install_root.size(), "ROOT");
    errors_ = said();
    errors_.erase(errors_.begin(),
                  errors_.begin() + static_cast<std::ptrdiff_t>(before));
  }

  collect_settings settings_;
  plan plan_;
  std::optional<int> status_;
  std::string out_;
  words errors_;
};

TEST_F(preparing, takes_this_machine_and_no_way_to_it) {
  run({});
  EXPECT_FALSE(status_);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(errors_, words{});
  EXPECT_EQ(settings_.launcher, "local");
  EXPECT_EQ(plan_.nodes.size(), 1U);
  EXPECT_EQ(expected_results(plan_), 2U);
  run({"--launcher", "ssh"});
  EXPECT_EQ(settings_.launcher, "ssh");
}

TEST_F(preparing, knows_who_has_the_last_word) {
  configure(
      "<collect><fanout>2</fanout><retry>2</retry>"
      "<connect_timeout>2</connect_timeout><stagger>2</stagger>"
      "</collect>");
  put("home/zelkara/zelk.xml",
      "<zelk><collect><fanout>3</fanout><connect_timeout>3</connect_timeout>"
      "<stagger>3</stagger></collect></zelk>");
  ::setenv("ZELK_FANOUT", "4", 1);
  ::setenv("ZELK_CONNECT_TIMEOUT", "4", 1);
  run({"--fanout", "5", "--show-config", "--json"});
  ::unsetenv("ZELK_FANOUT");
  ::unsetenv("ZELK_CONNECT_TIMEOUT");
  EXPECT_EQ(status_, 0);
  std::map<std::string, std::string> shown;
  const json document = json::parse(out_);
  EXPECT_EQ(document["schema"], "zelkara.settings/1");
  for (const json& one : document["settings"])
    shown[one["name"]] = one["value"].get<std::string>() + " " +
                         one["origin"].get<std::string>();
  EXPECT_EQ(shown["fanout"], "5 --fanout");
  EXPECT_EQ(shown["connect_timeout"], "4 s ZELK_CONNECT_TIMEOUT");
  EXPECT_EQ(shown["stagger"], "3 s ROOT/home/zelkara/zelk.xml:1");
  EXPECT_EQ(shown["retry"], "2 ROOT/etc/zelk.xml:2");
  EXPECT_EQ(shown["order"], "none built-in");
  EXPECT_EQ(shown["config"], "ROOT/etc/zelk.xml built-in");
}

TEST_F(preparing, shows_settings_as_a_table) {
  configure(
      "<collect><suites><suite name='quick'><member>cpu</member>"
      "</suite></suites></collect>");
  run({"--show-config", "--async"});
  EXPECT_EQ(status_, 0);
  EXPECT_TRUE(out_.starts_with("SETTING"));
  EXPECT_NE(out_.find("\nasync             yes"), out_.npos);
  EXPECT_NE(out_.find("\nsuite @quick      cpu"), out_.npos);
  EXPECT_NE(out_.find("ROOT/etc/zelk.xml:2\n"), out_.npos);
}

TEST_F(preparing, finds_the_configuration_that_is_asked_for) {
  const std::string other =
      put("other.xml", "<zelk><collect><fanout>9</fanout></collect></zelk>");
  run({"-c", other});
  EXPECT_EQ(settings_.fanout, 9);
  ::setenv("ZELK_CONFIG", other.c_str(), 1);
  run({});
  EXPECT_EQ(settings_.fanout, 9);
  run({"-c", in_root("etc/zelk.xml")});
  EXPECT_EQ(settings_.fanout, 64);
  ::unsetenv("ZELK_CONFIG");
  run({"-c", "/nowhere"});
  EXPECT_EQ(status_, 3);
  EXPECT_EQ(errors_,
            (words{"/nowhere: cannot be read (2): No such file or directory",
                   "zelk-collect: the configuration cannot be used; nothing "
                   "was started"}));
}

TEST_F(preparing, lists_providers_and_suites) {
  configure(
      "<collect><suites><suite name='quick'><member>cpu</member>"
      "</suite></suites></collect><provider_options><provider "
      "name='memory'><option id='a'/><option id='b' timeout='90'/>"
      "</provider></provider_options>");
  run({"--list"});
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(errors_, words{});
  EXPECT_EQ(
      out_,
      "PROVIDER  VERSION  NODES  TIME-OUT  MACHINE  OPTION SETS  DESCRIPTION\n"
      "cpu       1        1      60 s      any      None         What "
      "computes\n"
      "memory    1        1      90 s      any      a,b\n"
      "pairs     1        2      60 s      any      None\n"
      "\n"
      "SUITE     PROVIDERS  FROM            CONTENT\n"
      "@all      3          built-in        cpu memory pairs\n"
      "@default  2          built-in        cpu memory\n"
      "@quick    1          etc/zelk.xml:2  cpu\n");
  run({"-L", "memory"});
  EXPECT_EQ(out_.find("\ncpu "), out_.npos);
  EXPECT_NE(out_.find("\nmemory "), out_.npos);
}

TEST_F(preparing, lists_as_json_too) {
  run({"--list", "--json"});
  EXPECT_EQ(status_, 0);
  const json document = json::parse(out_);
  EXPECT_EQ(document["schema"], "zelkara.providers/1");
  ASSERT_EQ(document["providers"].size(), 3U);
  EXPECT_EQ(document["providers"][0]["provider"], "cpu");
  EXPECT_EQ(document["providers"][0]["description"], "What computes");
  EXPECT_EQ(document["providers"][2]["cluster"], true);
  EXPECT_EQ(document["providers"][0]["options"][0]["timeout_s"], 60);
  EXPECT_EQ(document["suites"][0]["suite"], "@all");
}

// A list with a gap in it must not look like a whole one.
TEST_F(preparing, lists_what_it_can_and_says_so) {
  put("etc/providers/broken.xml", "<provider/>");
  run({"--list"});
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(errors_.size(), 1U);
  EXPECT_NE(out_.find("\nmemory "), out_.npos);
  EXPECT_NE(out_.find("@default  2 "), out_.npos);
}

TEST_F(preparing, shows_what_a_run_would_do) {
  configure(
      "<provider_options><provider name='memory'><option id='full' "
      "timeout='600'><variable name='A'>it's</variable></option>"
      "</provider></provider_options>");
  run({"--dry-run", "memory", "cpu", "pairs", "-w", "localhost,127.0.0.[1-2]",
       "--launcher", "ssh"});
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(errors_, words{});
  EXPECT_EQ(
      out_,
      "would run on 3 nodes: 127.0.0.[1-2],localhost                    "
      "launcher ssh, fanout 64\n"
      "  cpu v1     option sets: None  time-out 60 s (constant)   "
      "etc/providers/cpu.xml\n"
      "    true\n"
      "  memory v1  option sets: full  time-out 600 s (constant)  "
      "etc/providers/memory.xml\n"
      "    A='it'\\''s' true\n"
      "  pairs v1   option sets: None  time-out 60 s (constant)   "
      "etc/providers/pairs.xml\n"
      "    true\n"
      "  pairs on 1 group: 127.0.0.[1-2]\n"
      "  not required  localhost (1)  pairs: left over: it runs on groups of 2 "
      "nodes\n"
      "expected results: 7      nothing was started\n");
}

TEST_F(preparing, shows_a_dry_run_as_json) {
  run({"--dry-run", "--json", "@all", "-w", "127.0.0.1,127.0.0.2"});
  EXPECT_EQ(status_, 0);
  const json document = json::parse(out_);
  EXPECT_EQ(document["schema"], "zelkara.dry-run/1");
  EXPECT_EQ(document["nodes"], (json{"127.0.0.1", "127.0.0.2"}));
  EXPECT_EQ(document["expected_results"], 5);
  EXPECT_EQ(document["groups"][0]["nodes"].size(), 2U);
  EXPECT_EQ(document["unresolved"].size(), 0U);
}

TEST_F(preparing, tells_which_names_do_not_resolve) {
  run({"--dry-run", "cpu", "-w", "no-such-host.invalid,127.0.0.1"});
  EXPECT_EQ(status_, 0);
  EXPECT_NE(out_.find("do not resolve here: no-such-host.invalid (1); ssh may "
                      "know them by its own configuration\n"),
            out_.npos);
}

TEST_F(preparing, validates_all_files) {
  run({"--validate"});
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(out_, "4 files, all valid\n");
  put("etc/providers/broken.xml", "<provider>\n<comand/></provider>");
  configure(
      "<collect><suites><suite name='s'><member>nothing</member>"
      "</suite></suites></collect>");
  run({"--validate", "-n", write("nodes", "a slots=4\n")});
  EXPECT_EQ(status_, 3);
  EXPECT_EQ(out_.substr(0, out_.find(':')), "6 files, 2 not valid");
  ASSERT_EQ(errors_.size(), 3U);
  EXPECT_NE(errors_[0].find("etc/providers/broken.xml:2: "), std::string::npos);
  EXPECT_NE(errors_[1].find("nodes:1: expected role=..., subcluster=... or "
                            "class=..., not 'slots=4'"),
            std::string::npos);
  EXPECT_NE(errors_[2].find("etc/zelk.xml:2: there is no provider 'nothing'"),
            std::string::npos);
}

TEST_F(preparing, validates_a_configuration_that_nothing_else_takes) {
  configure("<colect/>");
  run({"--validate", "--json"});
  EXPECT_EQ(status_, 3);
  const json document = json::parse(out_);
  EXPECT_EQ(document["valid"], false);
  EXPECT_EQ(document["files"][0]["valid"], false);
  EXPECT_EQ(document["files"][1]["valid"], true);
  run({});
  EXPECT_EQ(status_, 3);
}

TEST_F(preparing, tells_the_way_it_found_the_nodes) {
  ::setenv("SLURM_JOB_NODELIST", "n[1-3]", 1);
  run({});
  EXPECT_FALSE(status_);
  EXPECT_EQ(errors_, words{"zelk-collect: using the nodes of this Slurm job "
                           "(SLURM_JOB_NODELIST): n[1-3] (3)"});
  run({"-q"});
  EXPECT_EQ(errors_, words{});
  ::unsetenv("SLURM_JOB_NODELIST");
}

TEST_F(preparing, ends_with_one_line_and_status_3) {
  const struct {
    words arguments;
    const char* complaint;
  } cases[] = {
      {{"-f", "64"},
       "cannot read provider description '64'; for 64 connections at once use "
       "--fanout 64"},
      {{"memroy"}, "there is no provider 'memroy'; did you mean 'memory'?"},
      {{"--fanout", "none"},
       "--fanout: expected a whole number, 1 to 4096; found 'none'"},
      {{"--launcher", "shs"},
       "--launcher: expected one of local mpi slurm ssh; found 'shs'; did you "
       "mean 'ssh'?"},
      {{"-w", "a", "-x", "a"}, "no node matches the selection"},
      {{"-w", "a", "pairs"},
       "nothing would run: pairs: needs 2 nodes, 1 is selected"},
      {{"-p", "/nowhere"}, "the provider options cannot be used"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.complaint);
    run(one.arguments);
    EXPECT_EQ(status_, 3);
    EXPECT_EQ(out_, "");
    ASSERT_FALSE(errors_.empty());
    const auto told = std::find(errors_.begin(), errors_.end(),
                                std::string("zelk-collect: ") + one.complaint);
    EXPECT_NE(told, errors_.end()) << errors_.front();
  }
}

TEST_F(preparing, goes_on_to_the_checks_when_they_are_asked_for) {
  run({"--doctor", "-w", "a", "pairs"});
  EXPECT_FALSE(status_);
  EXPECT_EQ(settings_.what, action::doctor);
}

// What the shipped configuration and descriptions say must be usable.
TEST_F(preparing, takes_the_shipped_tree) {
  ::setenv("ZELK_TEST_INSTALL_ROOT", ZELK_SOURCE_DIR, 1);
  run({"--validate"});
  EXPECT_EQ(status_, 0) << (errors_.empty() ? out_ : errors_.front());
}

}  // namespace
}  // namespace zelk::collect
