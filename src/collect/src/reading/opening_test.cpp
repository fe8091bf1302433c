#include "src/collect/src/reading/opening.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::reading {
namespace {

class opening : public testing::Test {
 protected:
  opening() : path_(folder_.file("zelk.db")) { add_run(path_, 1); }

  datastore::scratch folder_;
  std::string path_;
};

// Whoever only looks need not migrate first.
TEST_F(opening, reads_version_2_and_does_not_write_it) {
  accumulate::take_back_to_version_2(path_);
  EXPECT_EQ(number_in(path_, "SELECT count(*) FROM v_run"), 1);
  EXPECT_EQ(complaint_of([&] { open_to_write(place_of(path_)); }),
            "Datastore '" + path_ +
                "': it has version 2, this program writes version 3; 'zelk-db "
                "migrate' brings it to version 3");
}

TEST_F(opening, reads_no_version_1) {
  datastore::database(path_, datastore::open_mode::read_write)
      .execute("PRAGMA user_version = 1");
  EXPECT_EQ(complaint_of([&] { open_to_read(place_of(path_)); }),
            "Datastore '" + path_ +
                "': it has version 1, this program reads version 2 and later; "
                "'zelk-db migrate' brings it to version 3");
}

}  // namespace
}  // namespace zelk::reading
