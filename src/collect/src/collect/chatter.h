// What nodes say besides results, folded: one line a distinct message, with the
// nodes that said it.
//
// Memory is bounded, whatever nodes write.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zelk::collect {

class chatter {
 public:
  // `line` without its end. The node's own name in it does not make it another
  // message.
  void add(const std::string& node, std::string_view line);

  // "node[1-3] (3): MESSAGE", in the order in which they were first said.
  std::vector<std::string> lines() const;

 private:
  struct message {
    std::string text;
    std::vector<std::string> nodes;
  };

  std::vector<message> messages_;
  std::unordered_map<std::string, std::size_t> places_;
  std::size_t left_out_ = 0;
};

// `line` with every occurrence of `node` as a word of its own replaced by
// "NODE".
std::string without_name(std::string_view line, std::string_view node);

}  // namespace zelk::collect
