#include "src/collect/src/db/row_printer.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include <gtest/gtest.h>

#include "src/collect/src/reading/test_output.h"

namespace zelk::db {
namespace {

class a_printer : public testing::Test {
 protected:
  std::string printed(const std::string& form, const std::string& sql,
                      bool terminal = false) {
    datastore::database base(folder_.file("x.db"),
                             datastore::open_mode::create);
    datastore::statement query(base, sql);
    std::ostringstream out;
    const auto printer = make_row_printer(form, query, out, terminal);
    while (query.step())
      printer->row(query);
    printer->end();
    return out.str();
  }

  datastore::scratch folder_;
};

constexpr char hostile[] =
    "SELECT 1 AS n, 'a,\"b\"' || char(27) || '[2J' || char(10) AS t, "
    "x'00ff1b' AS b, NULL AS z, '' AS e, 1.5 AS r";

TEST_F(a_printer, writes_a_table_that_moves_no_cursor) {
  EXPECT_EQ(printed("table", hostile),
            "n  t               b             z  e    r\n"
            "1  a,\"b\"\\x1b[2J\\n  \\x00\\xff\\x1b  -     1.5\n");
}

TEST_F(a_printer, writes_csv_with_the_bytes_that_there_are) {
  EXPECT_EQ(printed("csv", hostile),
            "n,t,b,z,e,r\n1,\"a,\"\"b\"\"\x1b[2J\n\"," + std::string(1, '\0') +
                "\xff\x1b,,\"\",1.5\n");
}

TEST_F(a_printer, writes_no_escapes_to_a_terminal_in_any_form) {
  for (const std::string& form : row_forms()) {
    const std::string text = printed(
        form, std::string(hostile) + ", 'x' AS \"h\x1b\x7f\xc2\x9b\"", true);
    for (const char c : text)
      EXPECT_TRUE(c == '\n' || c == '\r' || (c >= ' ' && c < '\x7f')) << form;
  }
}

TEST_F(a_printer, writes_json_that_gives_the_bytes_back) {
  const auto value = nlohmann::json::parse(printed("json", hostile));
  ASSERT_EQ(value.size(), 1U);
  EXPECT_EQ(value[0]["n"], 1);
  EXPECT_EQ(value[0]["t"], "a,\"b\"\x1b[2J\n");
  EXPECT_EQ(value[0]["b"]["base64"], "AP8b");
  EXPECT_TRUE(value[0]["z"].is_null());
  EXPECT_EQ(value[0]["r"], 1.5);
}

TEST_F(a_printer, writes_one_object_a_line) {
  EXPECT_EQ(printed("jsonl", "SELECT 1 AS a UNION SELECT 2"),
            "{\"a\":1}\n{\"a\":2}\n");
  EXPECT_EQ(printed("jsonl", "SELECT 1 AS a, 2 AS a, 3 AS a"),
            "{\"a\":1,\"a:2\":2,\"a:3\":3}\n");
}

TEST_F(a_printer, writes_something_whole_for_no_rows) {
  EXPECT_EQ(printed("json", "SELECT 1 AS a WHERE false"), "[]\n");
  EXPECT_EQ(printed("jsonl", "SELECT 1 AS a WHERE false"), "");
  EXPECT_EQ(printed("table", "SELECT 1 AS a WHERE false"), "a\n");
  EXPECT_EQ(printed("csv", "SELECT 1 AS a WHERE false"), "a\n");
}

TEST_F(a_printer, goes_on_behind_the_rows_it_has_measured) {
  const std::string text =
      printed("table",
              "WITH RECURSIVE c(x) AS (VALUES(1) UNION ALL SELECT x+1 FROM c "
              "WHERE x<2500) SELECT x FROM c");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2501);
}

}  // namespace
}  // namespace zelk::db
