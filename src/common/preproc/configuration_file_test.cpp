#include "src/common/preproc/configuration_file.h"

#include <cstdlib>
#include <map>

#include <gtest/gtest.h>

#include "src/common/preproc/test_tree.h"
#include "src/common/xml/query.h"

namespace zelk::preproc {
namespace {

std::map<std::string, std::string> variables;

std::string variable(const char* name) {
  return variables[name];
}

std::string datastore_at(const std::string& path) {
  return "<zelk>\n<datastore><path> " + path + "\n</path></datastore></zelk>";
}

class configuration_file : public test_tree {
 protected:
  configuration_file() {
    variables.clear();
    std::filesystem::create_directories(in_root("etc"));
  }

  void write_site(const std::string& text) { write("root/etc/zelk.xml", text); }
  void write_own(const std::string& text) {
    variables["XDG_CONFIG_HOME"] = in_root("home");
    std::filesystem::create_directories(in_root("home/zelkara"));
    write("root/home/zelkara/zelk.xml", text);
  }
  configured_datastore found(const std::string& file = "") {
    return find_configured_datastore(file, config_.install_root, variable);
  }
};

TEST_F(configuration_file, need_not_be_there_when_nobody_named_it) {
  EXPECT_EQ(found().path, "");
  EXPECT_FALSE(found().failed);
  EXPECT_EQ(said(), lines{});
}

TEST_F(configuration_file, of_the_site_says_where_the_datastore_is) {
  write_site(datastore_at("/srv/z.db"));
  EXPECT_EQ(found().path, "/srv/z.db");
  write_site("<zelk><output_directory>/x</output_directory></zelk>");
  EXPECT_EQ(found().path, "");
  write_site("<zelk><datastore/></zelk>");
  EXPECT_EQ(found().path, "");
  EXPECT_EQ(said(), lines{});
}

TEST_F(configuration_file, of_the_user_wins_where_it_says_something) {
  write_site(datastore_at("/srv/site.db"));
  write_own("<zelk><collect><fanout>3</fanout></collect></zelk>");
  EXPECT_EQ(found().path, "/srv/site.db");
  write_own(datastore_at("/home/ada/own.db"));
  EXPECT_EQ(found().path, "/home/ada/own.db");
  EXPECT_EQ(found(write("other.xml", datastore_at("/other.db"))).path,
            "/home/ada/own.db");
}

TEST_F(configuration_file, is_the_named_one_then_that_of_the_environment) {
  write_site(datastore_at("/srv/site.db"));
  variables["ZELK_CONFIG"] = write("env.xml", datastore_at("/env.db"));
  EXPECT_EQ(found().path, "/env.db");
  EXPECT_EQ(found(write("c.xml", datastore_at("/c.db"))).path, "/c.db");
}

TEST_F(configuration_file, that_was_named_has_to_be_there) {
  EXPECT_TRUE(found(in_root("none.xml")).failed);
  EXPECT_EQ(said().size(), 1U);
  variables["ZELK_CONFIG"] = in_root("none.xml");
  EXPECT_TRUE(found().failed);
  EXPECT_EQ(said().size(), 2U);
}

// Another datastore than the one that was meant would be worse than none.
TEST_F(configuration_file, at_fault_is_told_and_names_no_datastore) {
  const struct {
    const char* text;
    const char* complaint;
  } cases[] = {
      {"<zelk><datastore><path>z.db</path></datastore></zelk>",
       "root/etc/zelk.xml:1: "},
      {"<zelk>", "root/etc/zelk.xml:1: "},
      {"<zelk><datastore><paths/></datastore></zelk>", "root/etc/zelk.xml:1: "},
  };
  std::size_t count = 0;
  for (const auto& each : cases) {
    SCOPED_TRACE(each.text);
    write_site(each.text);
    EXPECT_TRUE(found().failed);
    EXPECT_EQ(found().path, "");
    count += 2;
    ASSERT_EQ(said().size(), count);
    EXPECT_TRUE(said().back().starts_with(each.complaint)) << said().back();
  }
}

TEST_F(configuration_file, of_the_user_has_less_to_say) {
  write_own("<zelk>\n<output_directory>/x</output_directory></zelk>");
  EXPECT_TRUE(found().failed);
  EXPECT_EQ(said(), lines{"root/home/zelkara/zelk.xml:2: expected only "
                          "'collect' and 'datastore' in a user's own file; "
                          "found 'output_directory'"});
}

TEST_F(configuration_file, of_the_user_lies_below_their_home) {
  EXPECT_EQ(user_configuration(variable), "");
  std::filesystem::create_directories(in_root(".config/zelkara"));
  write("root/.config/zelkara/zelk.xml", "<zelk/>");
  variables["HOME"] = config_.install_root;
  EXPECT_EQ(user_configuration(variable), in_root(".config/zelkara/zelk.xml"));
  variables["XDG_CONFIG_HOME"] = in_root("elsewhere");
  EXPECT_EQ(user_configuration(variable), "");
}

}  // namespace
}  // namespace zelk::preproc
