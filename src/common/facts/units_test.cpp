#include "src/common/facts/units.h"

#include <gtest/gtest.h>

namespace zelk::facts {
namespace {

TEST(unit_of_, knows_what_people_write) {
  struct {
    const char* text;
    const char* dimension;
    double factor;
  } const cases[] = {
      {"B", "B", 1},
      {"kB", "B", 1000},
      {"KB", "B", 1000},
      {"KiB", "B", 1024},
      {"GiB", "B", 1073741824},
      {"MB/s", "B/s", 1e6},
      {"Gbit/s", "B/s", 1.25e8},
      {"s", "s", 1},
      {"ms", "s", 1e-3},
      {"us", "s", 1e-6},
      {"\xc2\xb5s", "s", 1e-6},
      {"\xce\xbcs", "s", 1e-6},
      {"ns", "s", 1e-9},
      {"min", "s", 60},
      {"h", "s", 3600},
      {"GHz", "Hz", 1e9},
      {"\xc2\xb0"
       "C",
       "\xc2\xb0"
       "C",
       1},
      {"%", "%", 1},
      {"count", "count", 1},
      {"count/min", "count/s", 1.0 / 60},
      {"GT/s", "T/s", 1e9},
      {"GFLOP/s", "FLOP/s", 1e9},
      {"ns/op", "s/op", 1e-9},
      {"kop/s", "op/s", 1000},
      {"mW", "W", 1e-3},
      {"rpm", "rpm", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const auto found = unit_of(c.text);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->dimension, c.dimension);
    EXPECT_DOUBLE_EQ(found->factor, c.factor);
  }
}

TEST(unit_of_, refuses_everything_else) {
  for (const char* text :
       {"", "X", "K", "Ki", "kiB", "mB", "iB", "KiHz", "Ms", "kmin", "B/", "/s",
        "B/B", "B/s/s", "MiB /s", "%/%", "furlong", "bytes", "sec"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(unit_of(text));
  }
}

}  // namespace
}  // namespace zelk::facts
