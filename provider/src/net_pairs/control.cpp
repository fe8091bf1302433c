#include "provider/src/net_pairs/control.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace zelk::net_pairs {
namespace {

// Takes a line apart from its front; `good` stays false after the first word
// that was not what was asked for.
class reader {
 public:
  explicit reader(std::string_view line)
      : rest_(line), blank_last_(line.ends_with(' ')) {}

  bool good = true;

  std::string_view word() {
    const std::size_t end = std::min(rest_.find(' '), rest_.size());
    const std::string_view found = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    good = good && !found.empty();
    return found;
  }

  void literal(std::string_view wanted) { good = word() == wanted && good; }

  template <typename Number>
  Number number() {
    const std::string_view text = word();
    Number value{};
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    good = good && error == std::errc{} && stopped == end;
    return value;
  }

  milliseconds time() { return milliseconds(number<std::uint32_t>()); }

  std::string rest() {
    good = good && !rest_.empty();
    return std::string(rest_);
  }

  void end() { good = good && rest_.empty() && !blank_last_; }

 private:
  std::string_view rest_;
  bool blank_last_;
};

template <typename... Parts>
std::string joined(std::string_view first, const Parts&... parts) {
  std::string line(first);
  ((line += ' ' + std::to_string(parts)), ...);
  return line;
}

// The shortest text that reads back as the same number, for any locale.
std::string number_text(double value) {
  char text[32];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value);
  return error == std::errc{} ? std::string(text, end) : "0";
}

pair_figures read_figures(reader& from) {
  pair_figures figures;
  figures.latency_us = from.number<double>();
  figures.forward_mb_s = from.number<double>();
  figures.backward_mb_s = from.number<double>();
  figures.retransmits = from.number<std::uint64_t>();
  from.end();
  return figures;
}

}  // namespace

std::string to_line(const lead_command& command) {
  return joined("lead", command.number, command.port, command.how.pings,
                command.how.ping_time.count(), command.how.stream_time.count(),
                command.patience.count()) +
         ' ' + command.host;
}

std::string to_line(const serve_command& command) {
  return joined("serve", command.number, command.stream_time.count(),
                command.patience.count());
}

std::string to_line(const answer& said) {
  if (!said.reason.empty())
    return joined("failed", said.number) + ' ' + said.reason;
  if (!said.found) return joined("served", said.number);
  return joined("found", said.number) + ' ' +
         number_text(said.found->latency_us) + ' ' +
         number_text(said.found->forward_mb_s) + ' ' +
         number_text(said.found->backward_mb_s) + ' ' +
         std::to_string(said.found->retransmits);
}

std::optional<lead_command> read_lead(std::string_view line) {
  reader from(line);
  lead_command command;
  from.literal("lead");
  command.number = from.number<std::uint32_t>();
  command.port = from.number<std::uint16_t>();
  command.how.pings = from.number<std::uint32_t>();
  command.how.ping_time = from.time();
  command.how.stream_time = from.time();
  command.patience = from.time();
  command.host = from.rest();
  return from.good ? std::optional(command) : std::nullopt;
}

std::optional<serve_command> read_serve(std::string_view line) {
  reader from(line);
  serve_command command;
  from.literal("serve");
  command.number = from.number<std::uint32_t>();
  command.stream_time = from.time();
  command.patience = from.time();
  from.end();
  return from.good ? std::optional(command) : std::nullopt;
}

std::optional<answer> read_answer(std::string_view line) {
  reader from(line);
  answer said;
  const std::string_view kind = from.word();
  said.number = from.number<std::uint32_t>();
  if (kind == "found")
    said.found = read_figures(from);
  else if (kind == "failed")
    said.reason = from.rest();
  else if (kind == "served")
    from.end();
  else
    return std::nullopt;
  return from.good ? std::optional(said) : std::nullopt;
}

std::optional<std::uint16_t> read_hello(std::string_view line) {
  if (!line.starts_with(agent_hello)) return std::nullopt;
  reader from(line.substr(agent_hello.size()));
  const auto port = from.number<std::uint16_t>();
  from.end();
  return from.good ? std::optional(port) : std::nullopt;
}

std::vector<std::string> line_buffer::add(std::string_view bytes) {
  constexpr std::size_t most = 4096;
  std::vector<std::string> lines;
  for (std::size_t end = bytes.find('\n'); end != std::string_view::npos;
       end = bytes.find('\n')) {
    begun_.append(bytes.substr(0, std::min(end, most - begun_.size())));
    lines.push_back(std::move(begun_));
    begun_.clear();
    bytes.remove_prefix(end + 1);
  }
  begun_.append(bytes.substr(0, most - begun_.size()));
  return lines;
}

}  // namespace zelk::net_pairs
