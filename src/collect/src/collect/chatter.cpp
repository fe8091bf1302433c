#include "src/collect/src/collect/chatter.h"

#include <fmt/format.h>

#include "src/common/node/tokenized_host.h"

namespace zelk::collect {

namespace {

// More would bury the summary that follows.
constexpr std::size_t most_messages = 20;
constexpr std::size_t longest_message = 300;  // bytes

bool belongs_to_name(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool is_word(std::string_view line, std::size_t begin, std::size_t size) {
  const std::size_t end = begin + size;
  return (begin == 0 || !belongs_to_name(line[begin - 1])) &&
         (end == line.size() || !belongs_to_name(line[end]));
}

}  // namespace

std::string without_name(std::string_view line, std::string_view node) {
  std::string result;
  while (!node.empty()) {
    const std::size_t at = line.find(node);
    if (at == line.npos) break;
    const bool word = is_word(line, at, node.size());
    result += line.substr(0, at);
    result += word ? "NODE" : node;
    line.remove_prefix(at + node.size());
  }
  return result += line;
}

void chatter::add(const std::string& node, std::string_view line) {
  const std::string text = without_name(line, node).substr(0, longest_message);
  const auto place = places_.find(text);
  if (place != places_.end()) {
    std::vector<std::string>& nodes = messages_[place->second].nodes;
    if (nodes.back() != node) nodes.push_back(node);
    return;
  }
  if (messages_.size() == most_messages) {
    ++left_out_;
    return;
  }
  places_.emplace(text, messages_.size());
  messages_.push_back({text, {node}});
}

std::vector<std::string> chatter::lines() const {
  std::vector<std::string> list;
  for (const message& each : messages_)
    list.push_back(fmt::format("{} ({}): {}",
                               TokenizedHost::get_merged_hosts(each.nodes),
                               each.nodes.size(), each.text));
  if (left_out_ > 0)
    list.push_back(
        fmt::format("{} more lines of nodes are not shown; "
                    "--events has all of them",
                    left_out_));
  return list;
}

}  // namespace zelk::collect
