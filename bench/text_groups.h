// What people do without facts: the outputs of a command from all nodes are
// grouped by their text, and who is not in the largest group is looked at.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "test/synthetic/cluster.h"
#include "test/synthetic/faults.h"

namespace zelk::bench {

// By provider and node: whether its text is another than most have. An output
// that did not come is a text too.
class text_groups {
 public:
  // `of_class`: only nodes of one class are compared with each other.
  text_groups(const synthetic::cluster& in,
              const std::vector<synthetic::planted>& faults, bool of_class);

  bool is_flagged(std::size_t provider, std::size_t node) const {
    return flagged_[provider][node];
  }
  std::size_t flags_on(std::size_t node) const;

 private:
  using counts_of_texts = std::unordered_map<std::size_t, std::size_t>;

  void take(const std::vector<synthetic::answer>& answers);
  std::vector<bool> odd_ones(const std::vector<std::size_t>& texts) const;
  static std::size_t largest_of(const counts_of_texts& counts);
  std::size_t group_of(std::size_t node) const {
    return of_class_ ? in_.machines()[node].class_number : 0;
  }

  const synthetic::cluster& in_;
  bool of_class_;
  std::vector<std::vector<std::size_t>> texts_;  // by provider and node
  std::vector<std::vector<bool>> flagged_;
};

inline text_groups::text_groups(const synthetic::cluster& in,
                                const std::vector<synthetic::planted>& faults,
                                bool of_class)
    : in_(in), of_class_(of_class) {
  for (std::size_t node = 0; node < in.machines().size(); ++node)
    take(synthetic::answers_of(in, faults, node, 1, true));
  for (const std::vector<std::size_t>& provider : texts_)
    flagged_.push_back(odd_ones(provider));
}

inline std::size_t text_groups::flags_on(std::size_t node) const {
  std::size_t flags = 0;
  for (const std::vector<bool>& provider : flagged_)
    flags += provider[node] ? 1U : 0U;
  return flags;
}

inline void text_groups::take(const std::vector<synthetic::answer>& answers) {
  texts_.resize(answers.size());
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const synthetic::answer& given = answers[i];
    texts_[i].push_back(std::hash<std::string>()(
        given.output + '\0' + given.errors +
        std::to_string(given.came ? given.exit_status : -1)));
  }
}

inline std::vector<bool> text_groups::odd_ones(
    const std::vector<std::size_t>& texts) const {
  std::map<std::size_t, counts_of_texts> counts;
  for (std::size_t node = 0; node < texts.size(); ++node)
    ++counts[group_of(node)][texts[node]];
  std::map<std::size_t, std::size_t> largest;
  for (const auto& [group, texts_of_it] : counts)
    largest[group] = largest_of(texts_of_it);
  std::vector<bool> odd;
  for (std::size_t node = 0; node < texts.size(); ++node)
    odd.push_back(texts[node] != largest[group_of(node)]);
  return odd;
}

// Of equally large ones, that of the lowest hash.
inline std::size_t text_groups::largest_of(const counts_of_texts& counts) {
  std::size_t most = 0, text = 0;
  for (const auto& [hash, count] : counts) {
    if (count < most || (count == most && hash > text)) continue;
    most = count;
    text = hash;
  }
  return text;
}

}  // namespace zelk::bench
