#include "src/collect/src/collect/marked_stream.h"

#include <vector>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using lines = std::vector<std::string>;

struct reading {
  lines marks;
  std::string noise;
  std::string text;
  bool begun = false;
};

reading read(const std::string& bytes, std::size_t step) {
  reading result;
  marked_stream stream("MARK:7:", [&](std::string_view line) {
    result.marks.emplace_back(line);
  });
  for (std::size_t i = 0; i < bytes.size(); i += step)
    stream.append(std::string_view(bytes).substr(i, step));
  stream.finish();
  result.noise = stream.noise();
  result.text = stream.text();
  result.begun = stream.begun();
  return result;
}

// However the bytes are cut.
void expect_reading(const std::string& bytes, const lines& marks,
                    const std::string& noise, const std::string& text) {
  for (const std::size_t step : {1U, 2U, 5U, 1000U}) {
    SCOPED_TRACE(step);
    const reading result = read(bytes, step);
    EXPECT_EQ(result.marks, marks);
    EXPECT_EQ(result.noise, noise);
    EXPECT_EQ(result.text, text);
  }
}

TEST(marked_stream, tells_a_programs_text_from_a_logins) {
  expect_reading("Welcome\n\nMARK:7:begin\nhello\nworld\n\nMARK:7:end exit 0\n",
                 {"begin", "end exit 0"}, "Welcome\n", "hello\nworld\n");
}

TEST(marked_stream, adds_no_line_break_to_text_without_one) {
  expect_reading("hi\nMARK:7:begin\nno end\nMARK:7:end exit 0\n",
                 {"begin", "end exit 0"}, "hi", "no end");
}

TEST(marked_stream, keeps_the_line_breaks_of_the_text) {
  expect_reading("\nMARK:7:begin\n\n\na\n\n\n\nMARK:7:end\n", {"begin", "end"},
                 "", "\n\na\n\n\n");
}

TEST(marked_stream, keeps_what_only_looks_like_a_mark) {
  expect_reading("\nMARK:7:begin\nMARK:7\nMARK:8:end\n MARK:7:end\nMARK:7:",
                 {"begin", ""}, "", "MARK:7\nMARK:8:end\n MARK:7:end");
}

TEST(marked_stream, has_not_begun_where_nothing_is_marked) {
  const reading result = read("Permission denied\n", 3);
  EXPECT_FALSE(result.begun);
  EXPECT_EQ(result.noise, "Permission denied\n");
  EXPECT_EQ(result.text, "");
}

TEST(marked_stream, takes_a_last_line_without_its_end) {
  expect_reading("MARK:7:begin\nab\nMARK:7:end exit 3", {"begin", "end exit 3"},
                 "", "ab");
  expect_reading("MARK:7:begin\nMAR", {"begin"}, "", "MAR");
}

TEST(marked_stream, drops_the_carriage_return_of_a_mark) {
  expect_reading("MARK:7:begin\r\na\r\n\nMARK:7:end exit 0\r\n",
                 {"begin", "end exit 0"}, "", "a\r\n");
}

TEST(marked_stream, takes_zero_bytes_as_they_are) {
  const std::string zero("a\0b\n", 4);
  expect_reading("MARK:7:begin\n" + zero + "\nMARK:7:end\n", {"begin", "end"},
                 "", zero);
}

TEST(marked_stream, holds_little_of_a_line_without_end) {
  std::string bytes = "MARK:7:begin\nMARK:7:";
  bytes.append(std::size_t{1} << 22, 'x');
  const reading result = read(bytes, 4096);
  EXPECT_EQ(result.marks, lines{"begin"});
  EXPECT_LT(result.text.size(), std::size_t{257} << 10);
}

}  // namespace
}  // namespace zelk::collect
