// A series must say of each output what declaration::read_output says of it
// alone, whatever came before.

#include "src/common/facts/output_series.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "src/common/facts/test_declaration.h"
#include "src/common/facts/value_table.h"

namespace zelk::facts {
namespace {

constexpr char every_kind[] =
    "<fact name='size' from='size' type='integer' several='min'/>"
    "<fact name='most' from='most' type='number' several='max'/>"
    "<fact name='sum' from='sum' type='integer' several='sum'/>"
    "<fact name='words' from='word' several='set'/>"
    "<fact name='count' from='counted' several='count'/>"
    "<fact name='first' from='first' type='integer' several='first'/>"
    "<fact name='last' from='last' several='last'/>"
    "<fact name='one' from='one' type='boolean'/>"
    "<fact name='part.{1}' from='parts/(.*)' pattern='is ([0-9]+)' "
    "type='integer' optional='yes'/>"
    "<fact name='pair.{key}' from='pair' pattern='(?P&lt;key>[a-z]*)=(.*)'/>"
    "<fact name='{1}' from='twice/(.*)' type='integer' optional='yes'/>";

const std::vector<std::string>& lines_of_all_kinds() {
  static const std::vector<std::string> all = {
      "size: 5",
      "size: 4",
      "size: x",
      "twice/part.a: 4",
      "most: 2.5",
      "most: -0",
      "most: nan",
      "sum: 1",
      "sum: 9223372036854775807",
      "word: b",
      "word: a",
      "word: a",
      "counted: x",
      "counted:",
      "first: 1",
      "first: x",
      "last: 1",
      "last: 2",
      "one: yes",
      "one: 1",
      "one: no",
      "parts/a: is 1",
      "parts/b: was 1",
      "pair: a=1",
      "pair: b=2",
      "pair: a=2",
      "pair: nothing",
      "unreadable: parts/c: why",
      "missing: sum",
      "unreadable: size: why",
      "failed: word",
      "nobody's line",
      "other: x",
      "",
  };
  return all;
}

std::string some_output(std::mt19937& random) {
  std::string output;
  const auto& all = lines_of_all_kinds();
  const std::size_t count = random() % 12;
  for (std::size_t i = 0; i < count; ++i)
    output += all[random() % all.size()] + "\n";
  return output;
}

extraction as_extraction(const output_series& series, const value_table& values,
                         const numbered_extraction& read) {
  extraction result;
  result.what = read.what;
  result.unread = read.unread;
  for (const numbered_fact& each : read.facts)
    result.facts.push_back({series.name(each),
                            values.at(each.value, series.traits(each).type),
                            series.traits(each)});
  std::sort(result.facts.begin(), result.facts.end(),
            [](const fact& a, const fact& b) { return a.name < b.name; });
  return result;
}

class output_series_ : public declaration_fixture {};

TEST_F(output_series_, reads_each_output_as_it_is_read_alone) {
  const auto by = declared("lines", every_kind);
  ASSERT_TRUE(by) << testing::PrintToString(said());
  value_table values;
  output_series series(by, values, 1000);
  std::mt19937 random(7);
  for (int i = 0; i < 20'000; ++i) {
    const std::string output = some_output(random);
    constexpr int statuses[] = {0, 0, 0, 0, 83, 80, 81, 1, 124};
    const int status = statuses[random() % std::size(statuses)];
    ASSERT_EQ(as_extraction(series, values, series.read(output, status)),
              by->read_output(output, status))
        << output;
  }
}

TEST_F(output_series_, reads_all_forms) {
  const struct {
    const char* form;
    const char* facts;
    const char* output;
  } cases[] = {
      {"equals", "<fact name='{1}' from='(.*)'/>", "a=1\nb = 2\n"},
      {"json", "<fact name='x.{*}' from='a.*'/>", "{\"a\": {\"b\": 1}}"},
      {"patterns", "<fact name='{1}' pattern='(.)-(.)' value='2'/>", "a-b\n"},
      {"nagios", "", "OK | a=1s b=2%"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.form);
    const auto by = declared(each.form, each.facts);
    if (!by) continue;
    value_table values;
    output_series series(by, values, 1000);
    for (int i = 0; i < 4; ++i)
      EXPECT_EQ(as_extraction(series, values, series.read(each.output, 0)),
                by->read_output(each.output, 0));
  }
}

TEST_F(output_series_, says_when_there_is_no_room_for_names_or_values) {
  const auto by = declared("equals", "<fact name='{1}' from='(.*)'/>");
  ASSERT_TRUE(by);
  value_table values(40);
  output_series few_names(by, values, 2);
  EXPECT_FALSE(few_names.read("a=1\nb=1\n", 0).cut);
  const numbered_extraction& cut = few_names.read("b=1\nc=1\na=1\n", 0);
  EXPECT_TRUE(cut.cut);
  EXPECT_EQ(cut.facts.size(), 2U);
  EXPECT_FALSE(few_names.read("a=1\n", 0).cut);
  EXPECT_TRUE(few_names.read("a=a value that is too long\n", 0).cut);
}

}  // namespace
}  // namespace zelk::facts
