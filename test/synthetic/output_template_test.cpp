#include "test/synthetic/output_template.h"

#include <set>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace zelk::synthetic {
namespace {

machine_class a_class() {
  return {.name = "small",
          .words = {"intel"},
          .values = {{"cpus", "2"}, {"rate", "200"}, {"model", "X 1"}}};
}

moment a_moment(std::uint64_t run = 0, std::size_t index = 4) {
  return {.node = "node0005",
          .index = index,
          .of_node = chance(7).at(index),
          .run = run,
          .now = 1'772'418'600 + static_cast<std::int64_t>(run) * 86400,
          .booted = 1'772'000'000};
}

output_template compiled(const std::string& text) {
  return output_template::compile(text, "outputs/try.txt", a_class());
}

std::string rendered(const std::string& text, const moment& at = a_moment()) {
  std::string output;
  compiled(text).render(at, output);
  return output;
}

TEST(output_template, keeps_text_as_it_is) {
  const std::string text = "a: 1\nb:  {x} $y\n\nc\n";
  EXPECT_EQ(rendered(text), text);
}

TEST(output_template, fills_in_values_and_sums) {
  EXPECT_EQ(rendered("m: {{model}}\nn: {{add cpus 40}}/{{add rate*0.5}}\n"),
            "m: X 1\nn: 42/100\n");
}

TEST(output_template, chooses_lines_by_the_words_of_the_class) {
  EXPECT_EQ(rendered("@if intel amd\na\n@end\n@if amd\nb\n@end\n"
                     "@unless amd\nc\n@end\n@unless intel\nd\n@end\n"),
            "a\nc\n");
}

TEST(output_template, repeats_blocks_and_nests_them) {
  EXPECT_EQ(rendered("@each c cpus\ncpu$c\n@each d 2\n@if intel\n$c.$d\n@end\n"
                     "@end\n@end\nend\n"),
            "cpu0\n0.0\n0.1\ncpu1\n1.0\n1.1\nend\n");
}

TEST(output_template, knows_that_a_class_has_no_such_thing) {
  const output_template made =
      compiled("@if intel\n@status 80 not applicable: no such card\n@end\n");
  EXPECT_EQ(made.exit_status(), 80);
  EXPECT_EQ(made.errors(), "not applicable: no such card\n");
  EXPECT_EQ(rendered("@if intel\n@status 80 x\n@end\n"), "");
}

TEST(output_template, gives_the_same_noise_at_the_same_place) {
  const std::string text = "{{near rate 1 3}} {{near rate 1 3}}\n";
  const std::string once = rendered(text);
  EXPECT_EQ(rendered(text), once);
  EXPECT_NE(once.substr(0, 7), once.substr(8, 7));
  EXPECT_NE(rendered(text, a_moment(1)), once);
  EXPECT_NE(rendered(text, a_moment(0, 5)), once);
  const std::string keyed =
      rendered("{{near 200 1 3 key}} {{near 200 1 3 key}}\n");
  EXPECT_EQ(keyed.substr(0, 7), keyed.substr(8, 7));
}

TEST(output_template, keeps_what_belongs_to_the_machine) {
  for (const char* text : {"{{hex 8 a}}\n", "{{mac a}}\n", "{{base64 43 a}}\n",
                           "{{steady 1 9 5}}\n", "{{boot-uuid a}}\n"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(rendered(text), rendered(text, a_moment(3)));
    EXPECT_NE(rendered(text), rendered(text, a_moment(0, 9)));
  }
  moment booted_again = a_moment();
  booted_again.booted += 5;
  EXPECT_NE(rendered("{{boot-uuid a}}\n"),
            rendered("{{boot-uuid a}}\n", booted_again));
}

TEST(output_template, gives_every_machine_an_address_of_its_own) {
  std::set<std::string> seen;
  for (std::size_t i = 0; i < 12000; ++i)
    seen.insert(rendered("{{mac a}} {{address 10.1}}\n", a_moment(0, i)));
  EXPECT_EQ(seen.size(), 12000U);
}

TEST(output_template, names_the_line_that_is_wrong) {
  const auto complaint = [](const std::string& text) -> std::string {
    try {
      compiled(text);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(complaint("a\n{{nearly 1 2 3}}\n"),
            "outputs/try.txt:2: there is no mark {{nearly 1 2 3}}");
  EXPECT_EQ(complaint("{{near 1 2}}\n"),
            "outputs/try.txt:1: {{near 1 2}} has not what that mark takes");
  EXPECT_EQ(complaint("{{near 1 2 3 key more}}\n"),
            "outputs/try.txt:1: {{near 1 2 3 key more}} has not what that mark "
            "takes");
  EXPECT_EQ(complaint("{{near speed 2 3}}\n"),
            "outputs/try.txt:1: the class 'small' has no value 'speed'");
  EXPECT_EQ(complaint("{{near model 2 3}}\n"),
            "outputs/try.txt:1: 'model' is not a number");
  EXPECT_EQ(complaint("a {{rate\n"), "outputs/try.txt:1: no }}");
  EXPECT_EQ(complaint("@if intel\na\n"), "outputs/try.txt:1: no @end");
  EXPECT_EQ(complaint("@when intel\n"),
            "outputs/try.txt:1: what is @when intel");
}

}  // namespace
}  // namespace zelk::synthetic
