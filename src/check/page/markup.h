// Writing of markup that is well-formed and whose text cannot become markup.
//
// The names of elements and attributes are literals of the program: the
// compiler refuses anything else (`literal`). Everything that is not goes
// through escape.h. An element ends with the object that opened it, so all that
// is opened is closed, in order. What is written is XML and HTML at once.
//
//   element row(out, "tr", {{"class", "bad"}, {"data-n", folded}});
//   out.leaf("th", {{"scope", "row"}}, name);

#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "src/check/page/escape.h"

namespace zelk::check::html {

// Text that stands in the program's source.
class literal {
 public:
  template <std::size_t Length>
  consteval literal(const char (&text)[Length])  // NOLINT: meant to be implicit
      : text_(text, Length - 1) {}
  std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

// A number in a picture: at most two decimals, and none that say nothing.
//
//   12    "12"        0.5    ".5"        -3.14159    "-3.14"
void append_coordinate(std::string& out, double value);

class attribute {
 public:
  attribute(literal name, std::string_view value)
      : name_(name), value_(value) {}
  attribute(literal name, const std::string& value)
      : name_(name), value_(value) {}
  attribute(literal name, const char* value) : name_(name), value_(value) {}
  template <typename Number>
  requires std::is_arithmetic_v<Number> attribute(literal name, Number value)
      : name_(name) {
    append_coordinate(number_, static_cast<double>(value));
    is_number_ = true;
  }

  std::string_view name() const { return name_.text(); }
  std::string_view value() const { return is_number_ ? number_ : value_; }

 private:
  literal name_;
  std::string_view value_;
  std::string number_;
  bool is_number_ = false;
};

using attributes = std::initializer_list<attribute>;

class markup {
 public:
  // Markup of the program itself.
  markup& raw(literal text);
  // Anything else.
  markup& text(std::string_view text);
  // An element without content: <br/>.
  markup& empty(literal name, attributes list = {});
  // An element with text only.
  markup& leaf(literal name, attributes list, std::string_view text);
  // Its children, written elsewhere with a markup of its own.
  markup& add(const markup& other);
  // Text inside <script type="application/json">.
  markup& json(std::string_view text);
  // Requires: `text` is the style or the script of the page itself.
  markup& trusted(std::string_view text);

  void reserve(std::size_t bytes) { out_.reserve(bytes); }
  std::size_t size() const { return out_.size(); }
  const std::string& str() const { return out_; }

 private:
  friend class element;
  void open(std::string_view name, attributes list, std::string_view end);
  void close(std::string_view name);

  std::string out_;
};

// An element that is open as long as the object lives.
class [[nodiscard]] element {
 public:
  element(markup& out, literal name, attributes list = {})
      : out_(out), name_(name.text()) {
    out_.open(name_, list, ">");
  }
  ~element() { out_.close(name_); }
  element(const element&) = delete;
  element& operator=(const element&) = delete;

 private:
  markup& out_;
  std::string_view name_;
};

}  // namespace zelk::check::html
