#include "src/common/facts/test_printed.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "src/common/str/str.h"

namespace zelk::facts {

namespace {

std::string visible(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      result += c;
      continue;
    }
    char code[8];
    std::snprintf(code, sizeof code, "\\x%02x", byte);
    result += code;
  }
  return result;
}

std::string printed_list(const std::string& name, const std::string& value) {
  if (value.empty()) return name + "[] (none)\n";
  std::string lines;
  for (const std::string& each : str::split(value, '\n'))
    lines += name + "[] = " + visible(each) + "\n";
  return lines;
}

std::string printed_fact(const fact& one) {
  const std::string name = visible(one.name);
  const std::string value = text_of(one.value);
  if (one.traits.type == value_type::list) return printed_list(name, value);
  const std::string unit = one.traits.unit.empty() ? "" : " " + one.traits.unit;
  return name + " = " + visible(value) + unit + "\n";
}

}  // namespace

std::string printed(const extraction& all) {
  std::string lines;
  for (const fact& each : all.facts)
    lines += printed_fact(each);
  for (const unread_fact& each : all.unread)
    lines += visible(each.name) + " ! " + visible(each.reason) + "\n";
  if (all.what == outcome::not_applicable) lines += "(not applicable)\n";
  if (all.what == outcome::not_measured) lines += "(not measured)\n";
  return lines;
}

std::string file_content(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": " + std::strerror(errno));
  return {std::istreambuf_iterator<char>(in), {}};
}

int status_of_recording(const std::string& path) {
  std::filesystem::path beside = path;
  beside.replace_extension(".status");
  if (!std::filesystem::exists(beside)) return 0;
  return std::stoi(file_content(beside.string()));
}

}  // namespace zelk::facts
