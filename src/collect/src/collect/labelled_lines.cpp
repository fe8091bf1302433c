#include "src/collect/src/collect/labelled_lines.h"

#include <charconv>
#include <utility>

namespace zelk::collect {

namespace {

constexpr std::size_t longest_line = std::size_t{64} << 10;  // bytes

// Returns the number at the beginning of `text` and takes it away.
std::optional<std::size_t> take_number(std::string_view& text) {
  std::size_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  return number;
}

}  // namespace

std::optional<labelled_line> read_srun_label(std::string_view line) {
  const std::optional<std::size_t> rank = take_number(line);
  if (!rank || !line.starts_with(": ")) return std::nullopt;
  return labelled_line{*rank, line.substr(2)};
}

std::optional<labelled_line> read_mpirun_label(std::string_view line) {
  const std::size_t close = line.find("]<std");
  if (!line.starts_with('[') || close == line.npos) return std::nullopt;
  const std::size_t comma = line.rfind(',', close);
  if (comma == line.npos) return std::nullopt;
  std::string_view number = line.substr(comma + 1, close - comma - 1);
  const std::optional<std::size_t> rank = take_number(number);
  if (!rank || !number.empty()) return std::nullopt;
  std::string_view text = line.substr(close + 1);
  for (const std::string_view stream : {"<stdout>:", "<stderr>:"}) {
    if (text.starts_with(stream))
      return labelled_line{*rank, text.substr(stream.size())};
  }
  return std::nullopt;
}

labelled_lines::labelled_lines(
    label_reader read,
    std::function<void(std::size_t, std::string_view)> on_line,
    std::function<void(std::string_view)> on_other)
    : read_(read),
      on_line_(std::move(on_line)),
      on_other_(std::move(on_other)) {}

void labelled_lines::take(std::string_view part) {
  std::string_view text = part;
  if (!inside_) {
    const std::optional<labelled_line> line = read_(part);
    rank_ = line ? std::optional(line->rank) : std::nullopt;
    if (line) text = line->text;
  }
  if (rank_) {
    on_line_(*rank_, text);
  } else {
    on_other_(text);
  }
  inside_ = !part.ends_with('\n');
}

void labelled_lines::append(std::string_view bytes) {
  held_ += bytes;
  std::string_view rest = held_;
  for (;;) {
    const std::size_t end = rest.find('\n');
    if (end == rest.npos && rest.size() <= longest_line) break;
    const std::size_t size = end == rest.npos ? rest.size() : end + 1;
    take(rest.substr(0, size));
    rest.remove_prefix(size);
  }
  held_ = std::string(rest);
}

void labelled_lines::finish() {
  if (!held_.empty()) take(std::exchange(held_, {}));
}

}  // namespace zelk::collect
