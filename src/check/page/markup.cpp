#include "src/check/page/markup.h"

#include <array>
#include <charconv>
#include <cmath>

namespace zelk::check::html {

void append_coordinate(std::string& out, double value) {
  if (!std::isfinite(value)) value = 0;
  const double rounded = std::round(value * 100) / 100;
  if (rounded == 0) {  // -0 too
    out += '0';
    return;
  }
  std::array<char, 340> digits{};  // of the largest double
  const auto [end, problem] =
      std::to_chars(digits.data(), digits.data() + digits.size(), rounded,
                    std::chars_format::fixed, 2);
  std::string_view text(digits.data(),
                        static_cast<std::size_t>(end - digits.data()));
  while (text.back() == '0')
    text.remove_suffix(1);
  if (text.back() == '.') text.remove_suffix(1);
  if (text.starts_with("-0.")) {
    out += '-';
    text.remove_prefix(2);
  } else if (text.starts_with("0.")) {
    text.remove_prefix(1);
  }
  out += text;
}

markup& markup::raw(literal text) {
  out_ += text.text();
  return *this;
}

markup& markup::text(std::string_view text) {
  append_text(out_, text);
  return *this;
}

markup& markup::empty(literal name, attributes list) {
  open(name.text(), list, "/>");
  return *this;
}

markup& markup::leaf(literal name, attributes list, std::string_view text) {
  const element inside(*this, name, list);
  return this->text(text);
}

markup& markup::add(const markup& other) {
  out_ += other.out_;
  return *this;
}

markup& markup::json(std::string_view text) {
  append_script_json(out_, text);
  return *this;
}

markup& markup::trusted(std::string_view text) {
  out_ += text;
  return *this;
}

void markup::open(std::string_view name, attributes list,
                  std::string_view end) {
  out_ += '<';
  out_ += name;
  for (const attribute& one : list) {
    out_ += ' ';
    out_ += one.name();
    out_ += "=\"";
    append_attribute(out_, one.value());
    out_ += '"';
  }
  out_ += end;
}

void markup::close(std::string_view name) {
  out_ += "</";
  out_ += name;
  out_ += '>';
}

}  // namespace zelk::check::html
