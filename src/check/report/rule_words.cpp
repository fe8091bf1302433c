#include "src/check/report/rule_words.h"

#include <fmt/format.h>

namespace zelk::check {

namespace {

constexpr char formula[] = "0.6745 (x - median)/MAD";

std::string z_words(side direction, double z) {
  switch (direction) {
    case side::low:
      return fmt::format("robust z = {} <= -{}", formula, z);
    case side::high:
      return fmt::format("robust z = {} >= {}", formula, z);
    case side::by_better:
    case side::both:
      break;
  }
  return fmt::format("robust |z| = |{}| >= {}", formula, z);
}

const char* side_words(side direction) {
  switch (direction) {
    case side::low:
      return "below";
    case side::high:
      return "above";
    case side::both:
      return "from";
    case side::by_better:
      break;
  }
  return "to the worse side of";
}

std::string peers_words(const check_rule& what, const usual_limits& usual) {
  const double percent =
      what.min_effect.value_or(what.min_difference ? 0 : usual.min_effect);
  std::string effect;
  if (percent > 0) effect = fmt::format("{} %", percent);
  if (what.min_difference)
    effect += fmt::format("{}{}", effect.empty() ? "" : " and ",
                          *what.min_difference);
  std::string text = z_words(what.direction, what.z.value_or(usual.z));
  if (!effect.empty())
    text += fmt::format("   AND   x at least {} {} the median", effect,
                        side_words(what.direction));
  return text +
         "\na higher z is asked of one among very few or very many peers\n"
         "MAD = 0: only the distance from the median is used, and the finding "
         "says so";
}

std::string differs_words(const check_rule& what) {
  std::string text =
      "another value than more than half of the peers have; without such a "
      "majority one finding names the groups";
  if (what.min_share > 0)
    text += fmt::format("\nonly when {} % of the class agree", what.min_share);
  if (what.direction == side::low) text += "\nonly what is less than theirs";
  if (what.direction == side::high) text += "\nonly what is more than theirs";
  if (what.min_effect)
    text += fmt::format("\nnumbers that are less than {} % apart are alike",
                        *what.min_effect);
  if (!what.values.empty())
    text += "\nonly against a majority of: " + joined(what.values, ", ");
  return text;
}

std::string value_words(const check_rule& what) {
  std::string text;
  if (!what.values.empty()) text = "none of: " + joined(what.values, ", ");
  if (!what.refused.empty())
    text += (text.empty() ? "one of: " : "\nor one of: ") +
            joined(what.refused, ", ");
  return text;
}

std::string growth_words(const check_rule& what) {
  return fmt::format(
      "a counter that grew by more than {} a day since the baseline, "
      "and far more than those of its peers{}",
      what.growth,
      what.alone_growth ? fmt::format("; without peers by more than {} a day",
                                      *what.alone_growth)
                        : std::string());
}

std::string kind_words(const check_rule& what, const usual_limits& usual) {
  switch (what.kind) {
    case rule::differs:
      return differs_words(what);
    case rule::peers:
      return peers_words(what, usual);
    case rule::range:
      return "out of the range " +
             (what.limit ? text_of(*what.limit) : std::string("given"));
    case rule::value:
      return value_words(what);
    case rule::unique:
      return "the same value as another node has";
    case rule::changed:
      return "another value than the node had in the baseline; a change on "
             "more than half of the nodes is one finding";
    case rule::growth:
      return growth_words(what);
    case rule::present:
      return "is not there, or is empty";
    case rule::absent:
      return "is there, and is not empty";
    case rule::none:
      return "never judged, unless another check names the fact too";
  }
  return "";
}

}  // namespace

std::string joined(const std::vector<std::string>& parts, const char* between) {
  std::string text;
  for (const std::string& part : parts)
    text += (text.empty() ? "" : between) + part;
  return text;
}

std::string rule_words(const check_rule& what, const usual_limits& usual) {
  std::string text = kind_words(what, usual);
  if (!what.provider.empty())
    text += "\non nodes where " + what.provider + " answers";
  if (!what.ignored.empty())
    text += "\nvalues that say nothing: " + joined(what.ignored, ", ");
  return text;
}

}  // namespace zelk::check
