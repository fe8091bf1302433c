#include "src/common/datastore/unchanging_file.h"

#include <gtest/gtest.h>

#include "src/common/datastore/sqlite.h"
#include "src/common/datastore/test_scratch.h"

namespace zelk::datastore {
namespace {

std::string refusal_of(const std::string& path) {
  try {
    unchanging_name(path);
  } catch (const store_error& error) {
    return error.what();
  }
  return "";
}

TEST(unchanging_name, hides_what_means_something_in_a_uri) {
  const scratch place;
  const std::string path = place.write("50%?a#b.db", "");
  EXPECT_EQ(unchanging_name(path),
            "file:" + place.path() + "/50%25%3Fa%23b.db?immutable=1");
}

TEST(unchanging_name, is_given_to_no_file_with_a_log) {
  const scratch place;
  const std::string path = place.write("zelk.db", "");
  EXPECT_EQ(refusal_of(path), "");
  place.write("zelk.db-wal", "");
  EXPECT_NE(refusal_of(path).find("'" + path + "-wal' cannot be read without"),
            std::string::npos);
  EXPECT_NE(refusal_of(place.file("none")).find("No such file"),
            std::string::npos);
}

TEST(can_write_beside, looks_at_the_file_and_its_directory) {
  const scratch place;
  EXPECT_TRUE(can_write_beside(place.write("zelk.db", "")));
  EXPECT_FALSE(can_write_beside(place.file("none")));
  EXPECT_FALSE(can_write_beside("/proc/self/status"));
}

}  // namespace
}  // namespace zelk::datastore
