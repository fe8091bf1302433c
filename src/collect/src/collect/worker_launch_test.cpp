#include "src/collect/src/collect/worker_launch.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/collect/src/collect/test_plan.h"

namespace zelk::collect {
namespace {

using words = std::vector<std::string>;
using pairs = std::vector<std::pair<std::string, std::string>>;

worker_setup example_setup() {
  worker_setup setup;
  setup.program = "/opt/zelkara/bin/zelk_run_provider";
  setup.root_here = "/opt/zelkara";
  setup.endpoint = "tcp://10.1.0.1:5557";
  setup.version = "1.2.0";
  return setup;
}

task example_task() {
  return testing::example_plan(1).phases.front().front();
}

TEST(make_launch, gives_the_worker_what_it_needs) {
  const launch made = make_launch(example_task(), example_setup());
  EXPECT_EQ(made.node, "n1");
  EXPECT_EQ(made.argv, (words{"/opt/zelkara/bin/zelk_run_provider", "-H", "n1",
                              "-l", "info", "-e", "tcp://10.1.0.1:5557", "-f",
                              "/opt/zelkara/etc/providers/memory.xml", "-f",
                              "/opt/zelkara/etc/providers/stream.xml"}));
  EXPECT_EQ(made.environment, (pairs{{"ZELK_COLLECT_LINGER", "8000"}}));
  EXPECT_TRUE(made.files.empty());
  EXPECT_EQ(made.limit, example_task().limit);
  EXPECT_EQ(made.version, "1.2.0");
}

TEST(make_launch, writes_the_nodes_of_a_group_into_a_file) {
  task what = example_task();
  what.group = {"n1", "n2"};
  const launch made = make_launch(what, example_setup());
  EXPECT_EQ(made.files, (pairs{{"nodes", "n1\nn2\n"}}));
  const auto option = std::find(made.argv.begin(), made.argv.end(), "-n");
  ASSERT_NE(option, made.argv.end());
  EXPECT_EQ(option[1], "{files}/nodes");
}

TEST(make_launch, finds_an_installation_that_lies_elsewhere_on_the_nodes) {
  worker_setup setup = example_setup();
  setup.root_there = "/shared/zelkara";
  task what = example_task();
  what.descriptions = {"/opt/zelkara/etc/providers/a.xml", "/site/b.xml"};
  const words made = make_launch(what, setup).argv;
  EXPECT_EQ(
      words(made.end() - 3, made.end()),
      (words{"/shared/zelkara/etc/providers/a.xml", "-f", "/site/b.xml"}));
}

TEST(make_launch, lets_a_worker_write_files_where_there_is_no_endpoint) {
  worker_setup setup = example_setup();
  setup.endpoint.clear();
  setup.configuration = "<zelk/>";
  const launch made = make_launch(example_task(), setup);
  EXPECT_EQ(made.argv[5], "-A");
  EXPECT_EQ(made.argv[7], "{files}/zelk.xml");
  EXPECT_EQ(made.files, (pairs{{"zelk.xml", "<zelk/>"}}));
}

TEST(make_launch, lets_the_worker_speak_version_6_when_it_must) {
  worker_setup setup = example_setup();
  setup.endpoint = "tcp://[fd00::1]:5557";
  EXPECT_EQ(make_launch(example_task(), setup).environment.back(),
            (std::pair<std::string, std::string>("ZSYS_IPV6", "1")));
}

TEST(worker_configuration, holds_the_option_sets_of_the_plan) {
  plan made = testing::example_plan(1);
  made.providers.erase(made.providers.begin());
  made.providers[0].options[0].text = "A='a  b' B='it'\\''s <&\"' ";
  made.providers[0].options[1].timeout_sec = 100;
  made.providers[0].options[1].scale = "linear";
  collect_settings settings;
  settings.shared_directory = "/shared/a&b";
  EXPECT_EQ(worker_configuration(settings, made),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<zelk>
  <output_directory>/shared/a&amp;b</output_directory>
  <provider_options>
    <provider name="stream">
      <option id="quick">
        <variable name="A">a  b</variable>
        <variable name="B">it's &lt;&amp;&quot;</variable>
      </option>
      <option id="full" timeout="100" scale="linear">
        <variable name="SIZE">9</variable>
      </option>
    </provider>
  </provider_options>
</zelk>
)");
}

TEST(worker_configuration, leaves_out_what_a_task_does_not_want) {
  const plan made = testing::example_plan(1);
  task what = example_task();
  EXPECT_FALSE(is_partial(made, what));
  what.expected = {{"n1", "stream", "full"}};
  EXPECT_TRUE(is_partial(made, what));
  collect_settings settings;
  settings.timeout = std::chrono::seconds(5);
  const std::string text = worker_configuration(settings, made, &what);
  EXPECT_EQ(text.find("quick"), std::string::npos);
  // The plan's own time-out, which --timeout has made.
  EXPECT_NE(text.find("\"full\" timeout=\"300\" scale=\"constant\""),
            std::string::npos);
  EXPECT_EQ(text.find("memory"), std::string::npos);
  EXPECT_EQ(text.find("output_directory"), std::string::npos);
}

TEST(assignments_of, takes_apart_what_a_shell_would) {
  EXPECT_EQ(assignments_of(""), pairs{});
  EXPECT_EQ(assignments_of("A='' "), (pairs{{"A", ""}}));
  EXPECT_EQ(assignments_of("A='x=1' B='it'\\''s' C='\n' "),
            (pairs{{"A", "x=1"}, {"B", "it's"}, {"C", "\n"}}));
}

}  // namespace
}  // namespace zelk::collect
