#include "src/collect/src/collect/bounded_text.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

TEST(bounded_text, keeps_all_that_fits) {
  bounded_text text(4);
  EXPECT_EQ(text.text(), "");
  text.append("abc");
  text.append("");
  text.append("defgh");
  EXPECT_EQ(text.text(), "abcdefgh");
}

TEST(bounded_text, counts_what_is_left_out) {
  bounded_text text(4);
  text.append("abcdefghi");
  EXPECT_EQ(text.text(), "abcd\n[... 1 bytes left out ...]\nfghi");
}

TEST(bounded_text, shows_the_same_however_it_came) {
  std::string all;
  for (int i = 0; i < 1000; ++i)
    all += static_cast<char>('a' + i % 26);
  bounded_text at_once(10);
  at_once.append(all);
  EXPECT_EQ(
      at_once.text(),
      all.substr(0, 10) + "\n[... 980 bytes left out ...]\n" + all.substr(990));
  for (const std::size_t step : {1U, 3U, 10U, 11U, 64U}) {
    SCOPED_TRACE(step);
    bounded_text in_parts(10);
    for (std::size_t i = 0; i < all.size(); i += step)
      in_parts.append(std::string_view(all).substr(i, step));
    EXPECT_EQ(in_parts.text(), at_once.text());
  }
}

TEST(bounded_text, holds_little_of_a_flood) {
  bounded_text text;
  const std::string chunk(1 << 16, 'x');
  for (int i = 0; i < 1024; ++i)
    text.append(chunk);
  EXPECT_LT(text.text().size(), std::size_t{257} << 10);
}

}  // namespace
}  // namespace zelk::collect
