#include "src/collect/src/collect/text_table.h"

#include <algorithm>
#include <cstddef>

namespace zelk::collect {

namespace {

// Columns on a screen: the bytes less those that go on with a character.
std::size_t width_of(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(),
      [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

}  // namespace

std::string aligned(const std::vector<std::vector<std::string>>& rows,
                    std::string_view indent) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], width_of(row[i]));
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line(indent);
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size())
        line.append(widths[i] - width_of(row[i]) + 2, ' ');
    }
    line.erase(std::min(line.find_last_not_of(' ') + 1, line.size()));
    text += line + "\n";
  }
  return text;
}

std::string one_line(std::string_view text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte != 0x7f)
      line.push_back(c);
    else if (!line.empty() && line.back() != ' ')
      line.push_back(' ');
  }
  if (line.ends_with(' ')) line.pop_back();
  return line;
}

std::string joined(const std::vector<std::string>& words,
                   std::string_view separator) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i)
    text.append(i == 0 ? "" : separator).append(words[i]);
  return text;
}

std::string below(const std::string& root, const std::string& path) {
  const std::string folder = root + "/";
  if (root.empty() || !path.starts_with(folder)) return path;
  return path.substr(folder.size());
}

}  // namespace zelk::collect
