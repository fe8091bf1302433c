#include "src/collect/src/reading/acceptances.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::reading {
namespace {

using names = std::vector<std::string>;

class accepted : public testing::Test {
 protected:
  accepted() : path_(folder_.file("zelk.db")) { add_run(path_, 1); }

  std::vector<stored_acceptance> all() {
    datastore::database base = open_to_read(place_of(path_));
    return acceptances(base);
  }

  datastore::scratch folder_;
  std::string path_;
};

TEST_F(accepted, are_none_at_first) {
  EXPECT_TRUE(all().empty());
}

TEST_F(accepted, are_none_in_a_datastore_of_version_2) {
  accumulate::take_back_to_version_2(path_);
  EXPECT_TRUE(all().empty());
}

TEST_F(accepted, come_back_as_they_were_made_by_their_id) {
  {
    datastore::database base = open_to_write(place_of(path_));
    accumulate::add_acceptance(
        base, {"mem-size", "n[9-10]", {"n10", "n9"}, "why", "ada", 1, 7, 1});
    accumulate::add_acceptance(base, {"clock-off", "", {}, "r", "bob", 2});
    accumulate::revoke_acceptance(base, 2, "eve", 3);
  }
  const std::vector<stored_acceptance> found = all();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].id, 1);
  EXPECT_EQ(found[0].check, "mem-size");
  EXPECT_EQ(found[0].nodes_text, "n[9-10]");
  EXPECT_EQ(found[0].nodes, (names{"n9", "n10"}));
  EXPECT_EQ(found[0].reason, "why");
  EXPECT_EQ(found[0].who, "ada");
  EXPECT_EQ(found[0].made_usec, 1);
  EXPECT_EQ(found[0].until_usec, 7);
  EXPECT_EQ(found[0].run, 1);
  EXPECT_FALSE(found[0].revoked());
  EXPECT_EQ(found[1].until_usec, 0);
  EXPECT_EQ(found[1].run, 0);
  EXPECT_EQ(found[1].nodes, names{});
  EXPECT_EQ(found[1].revoked_usec, 3);
  EXPECT_EQ(found[1].revoked_by, "eve");
}

TEST(stored_acceptance, holds_until_its_end_and_not_at_it) {
  stored_acceptance one;
  EXPECT_TRUE(one.holds_at(INT64_MAX));
  one.until_usec = 10;
  EXPECT_TRUE(one.holds_at(9));
  EXPECT_FALSE(one.holds_at(10));
  one.revoked_usec = 5;
  EXPECT_FALSE(one.holds_at(1));
}

}  // namespace
}  // namespace zelk::reading
