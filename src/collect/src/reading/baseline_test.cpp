#include "src/collect/src/reading/baseline.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::reading {
namespace {

class baseline : public testing::Test {
 protected:
  baseline() : path_(folder_.file("zelk.db")) { add_run(path_, 1); }

  datastore::scratch folder_;
  std::string path_;
};

TEST_F(baseline, is_none_until_a_run_is_marked) {
  {
    datastore::database base = open_to_read(place_of(path_));
    EXPECT_EQ(marked_baseline(base), std::nullopt);
    EXPECT_FALSE(read_baseline(base).has_value());
  }
  {
    datastore::database base = open_to_write(place_of(path_));
    ASSERT_TRUE(accumulate::mark_baseline(base, {1, "golden", "ada", 5}));
  }
  datastore::database base = open_to_read(place_of(path_));
  EXPECT_EQ(marked_baseline(base), 1);
  const std::optional<stored_baseline> found = read_baseline(base);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->name, "golden");
  EXPECT_EQ(found->who, "ada");
  EXPECT_EQ(found->made_usec, 5);
}

TEST_F(baseline, is_none_in_a_datastore_of_version_2) {
  accumulate::take_back_to_version_2(path_);
  datastore::database base = open_to_read(place_of(path_));
  EXPECT_EQ(marked_baseline(base), std::nullopt);
}

}  // namespace
}  // namespace zelk::reading
