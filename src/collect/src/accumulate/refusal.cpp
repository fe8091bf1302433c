#include "src/collect/src/accumulate/refusal.h"

#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/refusal";

// A screenful or two tells what goes on; a thousand lines a second fill a disk.
constexpr std::chrono::seconds a_while{10};
constexpr std::size_t most_lines = 60;
constexpr std::size_t most_lines_of_peer = 20;

constexpr std::string_view names[refusal_kinds] = {
    "malformed", "oversize", "garbage",    "silent",
    "cut off",   "too slow", "unreachable"};

void warn(const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
      << text;
}

}  // namespace

std::string_view refusal_name(refusal kind) {
  return names[static_cast<std::size_t>(kind)];
}

bool refusal_log::add(refusal kind, const std::string& peer,
                      const std::string& line, clock::time_point now) {
  settle(now);
  ++total_[static_cast<std::size_t>(kind)];
  const bool named = may_name(kind, peer);
  if (named)
    warn(line);
  else
    ++unnamed_[static_cast<std::size_t>(kind)];
  return named;
}

bool refusal_log::may_name(refusal kind, const std::string& peer) {
  if (kind == refusal::oversize) return true;
  std::size_t& of_kind = lines_[static_cast<std::size_t>(kind)];
  if (of_kind >= most_lines) return false;
  std::size_t& of_peer = of_[{kind, peer}];
  if (of_peer >= most_lines_of_peer) return false;
  ++of_peer;
  ++of_kind;
  return true;
}

void refusal_log::settle(clock::time_point now, bool last) {
  if (!last && now - since_ < a_while) return;
  since_ = now;
  lines_ = {};
  of_.clear();
  std::string text;
  for (std::size_t i = 0; i < refusal_kinds; ++i) {
    if (unnamed_[i] == 0) continue;
    text += text.empty() ? "" : ", ";
    text += std::to_string(unnamed_[i]) + " " + std::string(names[i]);
  }
  unnamed_ = {};
  if (!text.empty()) warn("Refused without a line each: " + text);
}

std::uint64_t refusal_log::messages() const {
  return total(refusal::malformed) + total(refusal::oversize);
}

}  // namespace zelk::accumulate
