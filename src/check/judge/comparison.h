// The rules that look at one column each. What they find is added to `hits`;
// nothing is said of a node of which nothing is known.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/classes.h"
#include "src/check/judge/column_values.h"
#include "src/check/judge/hit.h"
#include "src/check/judge/judge.h"
#include "src/check/judge/run_pair.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

struct comparison {
  const run_view& run;
  const classes& groups;
  const judge_options& options;
  const run_pair* pair = nullptr;  // null: there is no baseline
  const column_view& column;
  const column_values& values;

  hit made(const check_definition& check, shape what,
           std::uint32_t in_class = no_class) const;
};

// A finding about half a class blames no node, so it is never critical.
constexpr int most_of_common = 60;
// A change on most nodes was usually meant.
constexpr int most_of_everywhere = 20;
// A counter that runs may run on every node; without peers nobody can tell.
constexpr int most_of_alone = 20;

// compare_equal.cpp
void find_differing(const comparison& of, const check_definition& check,
                    std::vector<hit>& hits);
// Only nodes without a fact that most of their class have, or with a value that
// is no number where the others have one.
void find_lacking(const comparison& of, const check_definition& check,
                  std::vector<hit>& hits);
// Whether a class's values are so many that they name the nodes: a serial
// number or an address that its description does not declare as such.
bool is_identity(const class_values& values);

// Whether both texts are the same words, but for numbers that are no further
// apart than `percent`: "1541 2055 3082".
bool are_close(std::string_view a, std::string_view b, double percent);

// "8 WHAT (n[1-8])"
std::string group_words(const run_view& run, const node_group& of,
                        const std::string& what);

// compare_numbers.cpp
void find_outliers(const comparison& of, const check_definition& check,
                   std::vector<hit>& hits);

// compare_fixed.cpp
void find_out_of_range(const comparison& of, const check_definition& check,
                       std::vector<hit>& hits);
void find_bad_values(const comparison& of, const check_definition& check,
                     std::vector<hit>& hits);
void find_not_present(const comparison& of, const check_definition& check,
                      std::vector<hit>& hits);
void find_present(const comparison& of, const check_definition& check,
                  std::vector<hit>& hits);
// What a plugin says of itself.
void find_bad_states(const comparison& of, const check_definition& check,
                     std::vector<hit>& hits);
void find_not_unique(const comparison& of, const check_definition& check,
                     std::vector<hit>& hits);
// "12", "12.5 GB"; nothing of a text that is none, or not finite.
std::optional<double> number_in(std::string_view text);
// The value as a number, also of a fact whose description calls it a text.
std::optional<double> number_in(const run_view& run, std::uint32_t value);

// compare_runs.cpp
void find_changed(const comparison& of, const check_definition& check,
                  std::vector<hit>& hits);
void find_grown(const comparison& of, const check_definition& check,
                std::vector<hit>& hits);

// The values of a list, without those that match `ignored`.
std::vector<std::string_view> elements_of(
    std::string_view list, const std::vector<std::string>& ignored);

}  // namespace zelk::check
