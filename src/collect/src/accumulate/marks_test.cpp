#include "src/collect/src/accumulate/marks.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

using names = std::vector<std::string>;

class marks : public ::testing::Test {
 protected:
  marks() {
    first = create_run(base, {});
    second = create_run(base, {});
  }

  std::string shown(std::string_view sql) { return base.text(sql); }

  datastore::scratch place;
  datastore::database base = open_datastore(place.file("zelk.db"));
  std::int64_t first = 0;
  std::int64_t second = 0;
};

constexpr char marked[] =
    "SELECT run || '|' || name || '|' || made || '|' || who FROM v_baseline";

TEST_F(marks, one_run_is_the_baseline) {
  EXPECT_EQ(shown(marked), "");
  EXPECT_TRUE(mark_baseline(base, {first, "", "ada", 1'000'000}));
  EXPECT_EQ(shown(marked), "1||1970-01-01T00:00:01Z|ada");
  EXPECT_TRUE(mark_baseline(base, {second, "golden", "bob", 2'500'000}));
  EXPECT_EQ(shown(marked), "2|golden|1970-01-01T00:00:02Z|bob");
  EXPECT_EQ(base.integer("SELECT count(*) FROM v_baseline"), 1);
}

TEST_F(marks, a_run_that_is_not_there_becomes_no_baseline) {
  EXPECT_FALSE(mark_baseline(base, {99, "", "ada", 1}));
  EXPECT_EQ(shown(marked), "");
  EXPECT_TRUE(mark_baseline(base, {first, "", "ada", 1}));
  EXPECT_FALSE(mark_baseline(base, {99, "", "ada", 1}));
  EXPECT_EQ(base.integer("SELECT run FROM v_baseline"), first);
}

TEST_F(marks, a_cleared_baseline_is_gone) {
  EXPECT_FALSE(clear_baseline(base));
  mark_baseline(base, {first, "", "ada", 1});
  EXPECT_TRUE(clear_baseline(base));
  EXPECT_EQ(shown(marked), "");
}

// Nothing may be left that points to a run that is no more.
TEST_F(marks, a_run_that_is_removed_takes_its_mark_along) {
  mark_baseline(base, {first, "", "ada", 1});
  remove_run(base, second);
  EXPECT_EQ(base.integer("SELECT run FROM v_baseline"), first);
  remove_run(base, first);
  EXPECT_EQ(shown(marked), "");
  EXPECT_EQ(shown("PRAGMA foreign_key_check"), "");
}

TEST_F(marks, an_acceptance_has_all_that_was_said) {
  const std::int64_t id = add_acceptance(base, {"mem-size",
                                                "n[1-2]",
                                                {"n1", "n2"},
                                                "DIMM ordered",
                                                "ada",
                                                1'000'000,
                                                9'000'000,
                                                first});
  EXPECT_EQ(shown("SELECT acceptance || check_id || node_set || nodes || "
                  "reason || who || made || until || run || made_usec || "
                  "until_usec FROM v_acceptance"),
            std::to_string(id) +
                "mem-sizen[1-2]2DIMM orderedada1970-01-01T00:00:01Z"
                "1970-01-01T00:00:09Z1" +
                "10000009000000");
  EXPECT_EQ(shown("SELECT typeof(revoked) || typeof(revoked_by) FROM "
                  "v_acceptance"),
            "nullnull");
  EXPECT_EQ(shown("SELECT group_concat(node) FROM v_acceptance_node"), "n1,n2");
}

TEST_F(marks, an_acceptance_may_be_for_any_node_and_for_good) {
  add_acceptance(base, {"mem-size", "", {}, "known", "ada", 1, 0, 0});
  EXPECT_EQ(shown("SELECT nodes || typeof(until) || typeof(run) FROM "
                  "v_acceptance"),
            "0nullnull");
}

TEST_F(marks, text_of_people_is_kept_byte_for_byte) {
  const std::string odd = "it's \"so\"; DROP TABLE run; -- \xff\x01";
  add_acceptance(base, {"mem-size", "\xfe", {"\xfe"}, odd, odd, 1, 0, 0});
  datastore::statement query(base,
                             "SELECT reason, who, node_set, n.node FROM "
                             "v_acceptance a JOIN v_acceptance_node n USING "
                             "(acceptance)");
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.bytes(0), odd);
  EXPECT_EQ(query.bytes(1), odd);
  EXPECT_EQ(query.bytes(2), "\xfe");
  EXPECT_EQ(query.bytes(3), "\xfe");
}

TEST_F(marks, an_acceptance_needs_a_check_and_a_reason) {
  EXPECT_THROW(add_acceptance(base, {"", "", {}, "known", "ada", 1, 0, 0}),
               datastore::store_error);
  EXPECT_THROW(add_acceptance(base, {"mem-size", "", {}, "", "ada", 1, 0, 0}),
               datastore::store_error);
  EXPECT_EQ(base.integer("SELECT count(*) FROM v_acceptance"), 0);
}

// Nor does one that fails half-way leave a part behind.
TEST_F(marks, an_acceptance_is_there_whole_or_not_at_all) {
  EXPECT_THROW(
      add_acceptance(base, {"mem-size", "n1", {"n1", "n1"}, "r", "a", 1, 0, 0}),
      datastore::store_error);
  EXPECT_EQ(base.integer("SELECT count(*) FROM v_acceptance"), 0);
}

TEST_F(marks, an_acceptance_is_taken_back_once) {
  const std::int64_t id =
      add_acceptance(base, {"mem-size", "", {}, "known", "ada", 1, 0, 0});
  EXPECT_FALSE(revoke_acceptance(base, id + 1, "bob", 3'000'000));
  EXPECT_TRUE(revoke_acceptance(base, id, "bob", 3'000'000));
  EXPECT_FALSE(revoke_acceptance(base, id, "eve", 4'000'000));
  EXPECT_EQ(shown("SELECT revoked || revoked_by FROM v_acceptance"),
            "1970-01-01T00:00:03Zbob");
}

// An id that came back would revoke what somebody else accepted.
TEST_F(marks, an_id_is_never_given_a_second_time) {
  const std::int64_t id =
      add_acceptance(base, {"mem-size", "", {}, "known", "ada", 1, 0, 0});
  base.execute("DELETE FROM acceptance");
  EXPECT_GT(add_acceptance(base, {"mem-size", "", {}, "known", "ada", 1, 0, 0}),
            id);
}

TEST_F(marks, nodes_are_known_by_a_result_or_an_expectation) {
  expect_results(base, first, {{"silent", "", ""}});
  {
    result_table table(place.file("zelk.db"), {});
    table.use_run(second);
    datastore_row row = row_of(a_result("node1", 1));
    table.write(row);
    table.flush();
  }
  const names all = {"typo", "node1", "silent"};
  EXPECT_EQ(unknown_nodes(base, all, {}), names{"typo"});
  EXPECT_EQ(unknown_nodes(base, all, first), (names{"typo", "node1"}));
  EXPECT_EQ(unknown_nodes(base, all, second), (names{"typo", "silent"}));
}

}  // namespace
}  // namespace zelk::accumulate
