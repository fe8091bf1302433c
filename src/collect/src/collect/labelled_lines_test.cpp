#include "src/collect/src/collect/labelled_lines.h"

#include <map>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

struct reading {
  std::map<std::size_t, std::string> tasks;
  std::string other;

  friend bool operator==(const reading&, const reading&) = default;
};

reading read(label_reader reader, std::string_view bytes, std::size_t step) {
  reading result;
  labelled_lines lines(
      reader,
      [&](std::size_t rank, std::string_view text) {
        result.tasks[rank] += text;
      },
      [&](std::string_view text) { result.other += text; });
  for (std::size_t i = 0; i < bytes.size(); i += step)
    lines.append(bytes.substr(i, step));
  lines.finish();
  return result;
}

TEST(labelled_lines, sorts_the_lines_of_srun) {
  const reading expected{{{0, "a\nc\n"}, {3, "b: 1\n\n"}, {12, "d"}},
                         "srun: error: no\n"};
  for (const std::size_t step : {1U, 4U, 100U}) {
    EXPECT_EQ(
        read(read_srun_label,
             "00: a\n03: b: 1\nsrun: error: no\n00: c\n03: \n12: d", step),
        expected);
  }
}

TEST(labelled_lines, sorts_the_lines_of_mpirun) {
  const reading expected{{{0, "a\n"}, {7, "[1,2]<stdout>:b\n\n"}},
                         "-----\n[head:1] plm\n[1,x]<stdout>:y\n"};
  EXPECT_EQ(read(read_mpirun_label,
                 "-----\n[1,0]<stdout>:a\n[head:1] plm\n"
                 "[prterun-head-1@1,7]<stderr>:[1,2]<stdout>:b\n"
                 "[1,x]<stdout>:y\n[1,7]<stdout>:\n",
                 3),
            expected);
}

TEST(labelled_lines, takes_none_of_these_for_a_label) {
  for (const char* line : {"", ":", "1:", "1", "x: a", " 1: a", "1 : a",
                           "99999999999999999999999: a"}) {
    SCOPED_TRACE(line);
    EXPECT_FALSE(read_srun_label(line));
  }
  for (const char* line : {"", "[", "[1,2]", "[1,2]<std", "[1,2]<stdin>:a",
                           "1,2]<stdout>:a", "[12]<stdout>:a"}) {
    SCOPED_TRACE(line);
    EXPECT_FALSE(read_mpirun_label(line));
  }
}

TEST(labelled_lines, cuts_a_line_without_end) {
  const std::string bytes = "1: " + std::string(1'000'000, '2') + "\n2: b\n";
  const reading result = read(read_srun_label, bytes, 1000);
  EXPECT_EQ(result.tasks.at(1), std::string(1'000'000, '2') + "\n");
  EXPECT_EQ(result.tasks.at(2), "b\n");
}

}  // namespace
}  // namespace zelk::collect
