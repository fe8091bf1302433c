#include "src/common/str/str.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zelk::str {
namespace {

using fields = std::vector<std::string>;

TEST(basename, is_what_follows_the_last_slash) {
  EXPECT_EQ(basename("/opt/z/etc/zelk.xml"), "zelk.xml");
  EXPECT_EQ(basename("zelk.xml"), "zelk.xml");
  EXPECT_EQ(basename("/zelk.xml"), "zelk.xml");
  EXPECT_EQ(basename("providers/"), "");
  EXPECT_EQ(basename(""), "");
}

// The driver appends "/pidfile_..." to this; "" would put the file into "/".
TEST(dirname, of_a_bare_name_is_the_current_directory) {
  EXPECT_EQ(dirname("zelk.xml"), ".");
  EXPECT_EQ(dirname(""), ".");
}

TEST(dirname, keeps_the_root) {
  EXPECT_EQ(dirname("/zelk.xml"), "/");
  EXPECT_EQ(dirname("/etc/zelk.xml"), "/etc");
}

TEST(upper, changes_ascii_letters_only) {
  EXPECT_EQ(upper("memory_v2.1"), "MEMORY_V2.1");
  EXPECT_EQ(upper("gr\xc3\xbc"), "GR\xc3\xbc");
}

TEST(replace, replaces_every_occurrence) {
  EXPECT_EQ(replace("%P%/run %P%/data", "%P%", "/share"),
            "/share/run /share/data");
}

TEST(replace, does_not_look_again_at_what_it_put_in) {
  EXPECT_EQ(replace("aa", "a", "aa"), "aaaa");
}

TEST(replace, takes_an_empty_token_for_no_match) {
  EXPECT_EQ(replace("text", "", "x"), "text");
}

struct split_case {
  const char* text;
  fields all;
  fields filled;
};

TEST(split, yields_one_field_more_than_separators) {
  const split_case cases[] = {
      {"", {""}, {}},
      {"a", {"a"}, {"a"}},
      {"a:b", {"a", "b"}, {"a", "b"}},
      {":a::b:", {"", "a", "", "b", ""}, {"a", "b"}},
      {"::", {"", "", ""}, {}},
  };
  for (const split_case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(split(c.text, ':'), c.all);
    EXPECT_EQ(split(c.text, ':', true), c.filled);
  }
}

TEST(split, passes_zero_bytes_through) {
  const std::string text("a\0b:c", 5);
  EXPECT_EQ(split(text, ':'), (fields{std::string("a\0b", 3), "c"}));
}

TEST(strip, takes_white_space_when_no_set_is_given) {
  EXPECT_EQ(strip(" \t node01\r\n"), "node01");
  EXPECT_EQ(strip(" \n "), "");
  EXPECT_EQ(strip("a b"), "a b");
}

TEST(strip, takes_exactly_the_set_it_is_given) {
  EXPECT_EQ(strip("'it''s'", "'"), "it''s");
  EXPECT_EQ(strip(" x ", "'"), " x ");
}

}  // namespace
}  // namespace zelk::str
