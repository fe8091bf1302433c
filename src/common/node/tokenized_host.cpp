// Only the number at the end of a name folds. A bracket with text behind it
// (node[1-3]-ib) is an invalid list to Slurm, and a second bracket in a name is
// an error to ClusterShell when it stands next to the first, so neither is
// written: gpu1n[1-4],gpu2n[1-4] is what all three readers agree on.
//
// Names are sorted once and then written in one pass, so that the cost grows
// with n log n whatever the names look like. Comparing each name with each
// range found so far would need no sorting, and half an hour for a large
// machine whose names do not fold.
//
// A number is padded when it begins with a zero. One that does not (the 10 of
// n08, n09, n10) is counted with the padded numbers of its length if there are
// any, otherwise with the unpadded ones, because both readings give back the
// same name and the first makes one range of a padded series.

#include "src/common/node/tokenized_host.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "src/common/node/natural_order.h"
#include "src/common/node/ranges.h"

namespace zelk {
namespace {

// pdsh cuts a padded number off behind its 14th digit.
constexpr std::size_t most_digits = 14;

// pdsh refuses a range of more numbers, Slurm one of more than 65,536.
constexpr std::uint64_t longest_range = 16384;

struct host {
  std::string_view prefix;  // the name without its number
  std::string_view digits;  // empty: the name has no number that folds
  std::uint64_t value = 0;  // of digits
  std::size_t width = 0;    // 0: not padded
};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

host split_label(std::string_view label) {
  const auto end = std::find_if_not(label.rbegin(), label.rend(), is_digit);
  const auto count = static_cast<std::size_t>(end - label.rbegin());
  if (count == 0 || count > most_digits) return {label, {}};
  host h{label.substr(0, label.size() - count),
         label.substr(label.size() - count)};
  std::from_chars(h.digits.data(), h.digits.data() + count, h.value);
  if (count > 1 && h.digits.front() == '0') h.width = count;
  return h;
}

// Counts unpadded numbers with the padded ones of their length.
void join_padded(std::span<host> hosts) {
  bool padded[most_digits + 1] = {};
  for (const host& h : hosts)
    padded[h.width] = true;
  for (host& h : hosts)
    if (!h.digits.empty() && padded[h.digits.size()]) h.width = h.digits.size();
}

// Writes hosts of one prefix and width in ascending order, each once.
void append_group(std::string& text, std::span<const host> group) {
  if (!text.empty()) text.push_back(',');
  text.append(group.front().prefix);
  if (group.size() == 1) {
    text.append(group.front().digits);
    return;
  }
  text.push_back('[');
  for (std::size_t i = 0, next = 0; i < group.size(); i = next) {
    for (next = i + 1; next < group.size() && next - i < longest_range; ++next)
      if (group[next].value != group[next - 1].value + 1) break;
    text.append(group[i].digits);
    if (next - i > 1) text.append("-").append(group[next - 1].digits);
    text.push_back(next < group.size() ? ',' : ']');
  }
}

// What sets apart the hosts of one prefix, in the order of writing: the name
// without a number, the unpadded numbers, the padded ones by their width.
auto group_key(const host& h) {
  return std::make_pair(!h.digits.empty(), h.width);
}

auto place_key(const host& h) {
  return std::make_pair(group_key(h), h.value);
}

// Writes hosts of one prefix.
void append_hosts(std::string& text, std::span<host> hosts) {
  join_padded(hosts);
  std::sort(hosts.begin(), hosts.end(), [](const host& a, const host& b) {
    return place_key(a) < place_key(b);
  });
  const auto end =
      std::unique(hosts.begin(), hosts.end(), [](const host& a, const host& b) {
        return place_key(a) == place_key(b);
      });
  for (auto first = hosts.begin(); first != end;) {
    const auto last = std::find_if(first, end, [&](const host& h) {
      return group_key(h) != group_key(*first);
    });
    append_group(text, {first, last});
    first = last;
  }
}

// Returns the labels that can be written, with '%' for each byte that the
// notation or a terminal would take for something else. A label that nobody can
// read back is still shown, and never as the name of another node.
std::vector<std::string> writable(std::vector<std::string> labels) {
  std::erase(labels, "");
  for (std::string& label : labels)
    for (char& c : label)
      if (!node::is_name_byte(c)) c = '%';
  return labels;
}

}  // namespace

std::string TokenizedHost::get_merged_hosts(
    const std::vector<std::string>& labels) {
  const std::vector<std::string> names = writable(labels);
  std::vector<host> hosts;
  hosts.reserve(names.size());
  for (const std::string& name : names)
    hosts.push_back(split_label(name));
  std::sort(hosts.begin(), hosts.end(), [](const host& a, const host& b) {
    return node::natural_before(a.prefix, b.prefix);
  });
  std::string text;
  for (auto first = hosts.begin(); first != hosts.end();) {
    const auto last = std::find_if(first, hosts.end(), [&](const host& h) {
      return h.prefix != first->prefix;
    });
    append_hosts(text, {first, last});
    first = last;
  }
  return text;
}

}  // namespace zelk
