#include "src/collect/src/collect/catalogue.h"

#include "src/collect/src/collect/test_tree.h"

namespace zelk::collect {
namespace {

class descriptions : public collect_tree {
 protected:
  planned_provider read(const std::string& path) {
    catalogue all(from_);
    EXPECT_TRUE(all.read_options());
    const planned_provider* made = all.read(path);
    EXPECT_NE(made, nullptr);
    return made == nullptr ? planned_provider() : *made;
  }
  collect_settings from_ = settings();
};

TEST_F(descriptions, say_what_a_plan_needs) {
  const std::string path = put("etc/providers/net.xml", R"(
<provider name="Network" version="-3">
  <description>All
    links</description>
  <command> "%PROVIDER_AUXILIARY_PATH%/net.sh" </command>
  <timeout scale="linear">100</timeout>
  <requires architecture="aarch64" min_nodes="2" max_nodes="8"/>
</provider>)");
  const planned_provider made = read(path);
  EXPECT_EQ(made.stem, "net");
  EXPECT_EQ(made.path, path);
  EXPECT_EQ(made.name, "Network");
  EXPECT_EQ(made.version, -3);
  EXPECT_TRUE(made.cluster);
  EXPECT_EQ(made.min_nodes, 2U);
  EXPECT_EQ(made.max_nodes, 8U);
  EXPECT_EQ(made.architecture, "aarch64");
  EXPECT_EQ(made.description, "All\n    links");
  EXPECT_EQ(made.command, "\"%PROVIDER_AUXILIARY_PATH%/net.sh\"");
  EXPECT_EQ(made.auxiliary_path, in_root("provider/share/Network"));
  ASSERT_EQ(made.options.size(), 1U);
  EXPECT_EQ(made.options[0].id, "None");
  EXPECT_EQ(made.options[0].timeout, std::chrono::seconds(100));
  EXPECT_EQ(catalogue(from_).scaled(made, 4).options[0].timeout,
            std::chrono::seconds(400));
}

TEST_F(descriptions, get_the_option_sets_of_both_files) {
  configure(R"(<provider_options><provider name="STREAM">
<option id="quick" timeout="90"><variable name="A">it's</variable></option>
<option id="full"/>
</provider></provider_options>)");
  from_.provider_options_file = write("more.xml", R"(<provider_options>
<provider name="stream"><option id="full" timeout="700" scale="squared"/>
<option id="new"/></provider></provider_options>)");
  const planned_provider made = read(install("stream"));
  ASSERT_EQ(made.options.size(), 3U);
  EXPECT_EQ(made.options[0].id, "quick");
  EXPECT_EQ(made.options[0].text, "A='it'\\''s' ");
  EXPECT_EQ(made.options[0].timeout, std::chrono::seconds(90));
  EXPECT_EQ(made.options[1].timeout, std::chrono::seconds(700));
  EXPECT_EQ(made.options[2].id, "new");
  EXPECT_EQ(made.options[2].timeout, std::chrono::seconds(60));
  const auto scaled = catalogue(from_).scaled(made, 3).options;
  EXPECT_EQ(scaled[0].timeout, std::chrono::seconds(90));
  EXPECT_EQ(scaled[1].timeout, std::chrono::seconds(6300));
}

TEST_F(descriptions, take_the_limit_that_was_typed) {
  from_.timeout = std::chrono::seconds(1);
  const planned_provider made =
      read(install("a", "<timeout scale='linear'>500</timeout>"));
  EXPECT_EQ(made.options[0].timeout, std::chrono::seconds(1));
}

// The worker gives no node file to a provider that one node is enough for.
TEST_F(descriptions, are_of_a_cluster_by_their_minimum) {
  const struct {
    int least;
    int most;
    bool cluster;
  } cases[] = {{1, 1, false}, {1, 4, false}, {2, 4, true}, {0, 0, true}};
  for (const auto& one : cases) {
    const std::string stem = "p" + std::to_string(one.least * 10 + one.most);
    EXPECT_EQ(read(install_cluster(stem, one.least, one.most)).cluster,
              one.cluster)
        << stem;
  }
}

// A sum of limits must stay a number.
TEST_F(descriptions, bound_limits_that_are_absurd) {
  const planned_provider made =
      read(install("a", "<timeout>9223372036854775807</timeout>"));
  EXPECT_LT(made.options[0].timeout, std::chrono::hours(24 * 366 * 10));
}

TEST_F(descriptions, are_found_by_their_extension) {
  install("b");
  install("a");
  put("etc/providers/a.xml~", "");
  put("etc/providers/.hidden.xml", "");
  put("etc/providers/README", "");
  install("a.v2");  // kept to read old results
  install("c.vx");
  const catalogue all(from_);
  EXPECT_EQ(all.names(), (words{"a", "b", "c.vx"}));
  EXPECT_EQ(all.path_of("a"), in_root("etc/providers/a.xml"));
  EXPECT_EQ(all.path_of("../zelk"), "");
}

TEST_F(descriptions, are_complained_about_once) {
  const std::string path = put("etc/providers/x.xml", "<provider/>");
  catalogue all(from_);
  EXPECT_EQ(all.read(path), nullptr);
  EXPECT_EQ(all.read(path), nullptr);
  EXPECT_EQ(said().size(), 1U);
}

TEST_F(descriptions, do_without_a_folder) {
  EXPECT_EQ(catalogue(from_).names(), words{});
}

TEST_F(descriptions, are_refused_with_bad_options) {
  from_.provider_options_file =
      write("more.xml",
            "<provider_options><provider name='a'/>"
            "<provider name='A'/></provider_options>");
  EXPECT_FALSE(catalogue(from_).read_options());
  EXPECT_EQ(said().size(), 1U);
}

TEST(stem_of, cuts_the_extension_by_its_length) {
  EXPECT_EQ(catalogue::stem_of("/a/memory.xml"), "memory");
  EXPECT_EQ(catalogue::stem_of("abcde"), "a");
  EXPECT_EQ(catalogue::stem_of("a.xm"), "");
  EXPECT_EQ(catalogue::stem_of("/a/b/"), "");
  EXPECT_EQ(catalogue::stem_of(""), "");
}

}  // namespace
}  // namespace zelk::collect
