#include "src/collect/src/accumulate/datastore_location.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "src/common/datastore/test_scratch.h"
#include "src/common/log/captured_log.h"
#include "src/common/names/names.h"

namespace zelk::accumulate {
namespace {

// The source tree has the schema where an installed one has it, and a
// configuration that says nothing of a datastore.
struct find_datastore_test : public ::testing::Test {
  find_datastore_test() {
    forget();
    ::setenv("XDG_CONFIG_HOME", place.file("config").c_str(), 1);
    install_root = ZELK_SOURCE_DIR;
  }
  ~find_datastore_test() override {
    forget();
    install_root.clear();
  }
  static void forget() {
    for (const char* name :
         {"ZELK_DB", "ZELK_CONFIG", "STATE_DIRECTORY", "XDG_CONFIG_HOME"})
      ::unsetenv(name);
  }
  std::string configuration(const std::string& datastore) {
    const std::string name = "zelk.xml";
    place.write(name, "<zelk><datastore><path>" + datastore +
                          "</path></datastore></zelk>");
    return place.file(name);
  }

  const datastore::scratch place;
};

TEST_F(find_datastore_test, reads_what_db_got) {
  const struct {
    const char* text;
    const char* path;
  } cases[] = {
      {"sqlite:/var/x.db", "/var/x.db"},
      {"sqlite:x.db", "x.db"},
      {"sqlite:///var/x.db", "/var/x.db"},
      {"/var/x.db", "/var/x.db"},
      {"x.db", "x.db"},
      {"sqlite:", ""},
      {"postgresql://host/base", ""},
      {"mysql://host/base", ""},
      {"mysql:foo", ""},
      {"a:b", ""},
      {"./a:b", "./a:b"},
      {"/tmp/a:b", "/tmp/a:b"},
  };
  for (const auto& one : cases) {
    const datastore_location found = find_datastore(one.text);
    EXPECT_EQ(found.path, one.path) << one.text;
    EXPECT_EQ(found.problem.empty(), *one.path != '\0') << one.text;
  }
}

TEST_F(find_datastore_test, says_what_it_expects) {
  EXPECT_EQ(find_datastore("mysql:foo").problem,
            "--db: 'mysql:foo': expected sqlite:PATH or a path");
  ::setenv("ZELK_DB", "sqlite:", 1);
  EXPECT_EQ(find_datastore("").problem,
            "ZELK_DB: 'sqlite:': expected sqlite:PATH or a path");
}

TEST_F(find_datastore_test, asks_the_environment_in_order) {
  ::setenv("STATE_DIRECTORY", "/var/lib/zelkara:/other", 1);
  EXPECT_EQ(find_datastore("").path, "/var/lib/zelkara/zelk.db");
  ::setenv("ZELK_DB", "sqlite:/tmp/z.db", 1);
  EXPECT_EQ(find_datastore("").path, "/tmp/z.db");
  EXPECT_EQ(find_datastore("mine.db").path, "mine.db");
}

TEST_F(find_datastore_test, asks_the_configuration_behind_the_variable) {
  ::setenv("STATE_DIRECTORY", "/var/lib/zelkara", 1);
  const std::string file = configuration("/srv/z.db");
  EXPECT_EQ(find_datastore("", file).path, "/srv/z.db");
  ::setenv("ZELK_CONFIG", file.c_str(), 1);
  EXPECT_EQ(find_datastore("").path, "/srv/z.db");
  ::setenv("ZELK_DB", "/tmp/z.db", 1);
  EXPECT_EQ(find_datastore("", file).path, "/tmp/z.db");
  EXPECT_EQ(find_datastore("mine.db", file).path, "mine.db");
}

// Whoever names the datastore is not kept from it by a broken file.
TEST_F(find_datastore_test, refuses_a_configuration_that_cannot_be_used) {
  log::captured_log log;
  const std::string file = configuration("relative.db");
  EXPECT_EQ(find_datastore("mine.db", file).path, "mine.db");
  EXPECT_EQ(log.lines().size(), 0U);
  EXPECT_EQ(find_datastore("", file).path, "");
  EXPECT_EQ(find_datastore("", file).problem,
            "the configuration, which may name the datastore, cannot be used; "
            "--db names one without it");
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(find_datastore_test, has_a_place_of_its_own) {
  const std::string path = find_datastore("").path;
  EXPECT_TRUE(path.ends_with("zelkara/zelk.db")) << path;
}

TEST(make_folders_of, makes_what_is_missing_for_the_owner_alone) {
  const datastore::scratch place;
  const std::string path = place.file("a/b/zelk.db");
  EXPECT_TRUE(make_folders_of(path));
  EXPECT_TRUE(make_folders_of(path));
  EXPECT_TRUE(make_folders_of("zelk.db"));
  const auto mode = std::filesystem::status(place.file("a/b")).permissions();
  EXPECT_EQ(mode, std::filesystem::perms::owner_all);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(make_folders_of, says_what_cannot_be_made) {
  log::captured_log log;
  const datastore::scratch place;
  place.write("file", "");
  EXPECT_FALSE(make_folders_of(place.file("file/b/zelk.db")));
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace zelk::accumulate
