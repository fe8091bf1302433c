// Noise as machines have it.
//
// A measured figure has a part that belongs to the node (its silicon, its place
// in the rack) and a part that is new each time, of about the same size. Both
// are normal, so that the whole has the wanted median and median absolute
// deviation (MAD); once in 250 times the second part is three times as large,
// because something else ran just then. What is limited on one side, such as a
// latency, is the exponential of such a figure; its tail is heavy as it is, so
// that a disturbance only doubles it.
//
// Counters grow at a steady pace of the node's own, so that none ever goes
// back, and begin at nothing when the node boots.

#include "test/synthetic/mark.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <span>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace zelk::synthetic {

namespace {

constexpr double sec_per_day = 86400;
constexpr double deviation_of_mad = 1.4826;  // of the normal distribution
constexpr double part_of_node = 0.7, part_of_run = 0.714;  // squares sum to 1
constexpr double share_disturbed = 0.004, disturbance = 3,
                 disturbance_of_tail = 2;

// What counts since the machine was made counts since then.
constexpr std::int64_t made_before_sec = 700 * 86400LL;
constexpr std::int64_t first_day = 1'772'000'000;  // a day near all runs

chance here(const mark& what, const moment& at) {
  return at.of_node.at(what.place);
}

chance here_now(const mark& what, const moment& at) {
  return here(what, at).at("run").at(at.run);
}

void append_number(double number, int decimals, std::string& to) {
  std::array<char, 64> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                 number, std::chars_format::fixed, decimals);
  to.append(digits.data(), end.ptr);
}

void append_count(double count, std::string& to) {
  append_number(std::floor(count), 0, to);
}

// Of a normal distribution with that MAD.
double deviation(const mark& what, const moment& at, double disturbed) {
  const chance now = here_now(what, at);
  const double scale =
      now.at("disturbed").uniform() < share_disturbed ? disturbed : 1;
  return deviation_of_mad * (part_of_node * here(what, at).normal() +
                             part_of_run * scale * now.normal());
}

void write_near(const mark& what, const moment& at, std::string& to) {
  const double share = what.second / 100 * deviation(what, at, disturbance);
  append_number(std::max(0.0, what.first * (1 + share)), what.decimals, to);
}

void write_tail(const mark& what, const moment& at, std::string& to) {
  const double share =
      std::log1p(what.second / 100) * deviation(what, at, disturbance_of_tail);
  append_number(what.first * std::exp(share), what.decimals, to);
}

void write_between(const mark& what, const moment& at, std::string& to) {
  append_number(
      what.first + (what.second - what.first) * here_now(what, at).uniform(),
      what.decimals, to);
}

void write_steady(const mark& what, const moment& at, std::string& to) {
  append_number(
      what.first + (what.second - what.first) * here(what, at).uniform(),
      what.decimals, to);
}

// From half to twice the usual pace.
double pace_of_node(const mark& what, const moment& at) {
  return std::exp2(2 * here(what, at).at("pace").uniform() - 1);
}

double counted(const mark& what, const moment& at, double per_day,
               std::int64_t since) {
  return per_day * pace_of_node(what, at) *
         static_cast<double>(at.now - since) / sec_per_day;
}

void write_count(const mark& what, const moment& at, std::string& to) {
  append_count(counted(what, at, what.first, at.booted), to);
}

void write_ever(const mark& what, const moment& at, std::string& to) {
  append_count(counted(what, at, what.first, first_day - made_before_sec), to);
}

void write_few(const mark& what, const moment& at, std::string& to) {
  const bool has = here(what, at).at("has").uniform() * 100 < what.first;
  append_count(has ? counted(what, at, what.second, at.booted) : 0, to);
}

void append_hex(chance from, std::size_t digits, std::string& to) {
  constexpr std::string_view hex = "0123456789abcdef";
  for (std::size_t i = 0; i < digits; ++i)
    to += hex[from.at(i).bits() % hex.size()];
}

void write_hex(const mark& what, const moment& at, std::string& to) {
  append_hex(here(what, at), static_cast<std::size_t>(what.first), to);
}

void append_uuid(chance from, std::string& to) {
  std::string digits;
  append_hex(from, 32, digits);
  digits[12] = '4';
  digits[16] = '8';
  for (const std::size_t dash : {8U, 13U, 18U, 23U})
    digits.insert(dash, 1, '-');
  to += digits;
}

void write_boot_uuid(const mark& what, const moment& at, std::string& to) {
  append_uuid(here(what, at).at(static_cast<std::uint64_t>(at.booted)), to);
}

void write_run_uuid(const mark& what, const moment& at, std::string& to) {
  append_uuid(here_now(what, at), to);
}

// Unique by the node's number.
void write_mac(const mark& what, const moment& at, std::string& to) {
  std::array<char, 18> text{};
  const auto number = static_cast<unsigned>(at.index);
  std::snprintf(text.data(), text.size(), "%s:%02x:%02x:%02x", "b8:ce:f6",
                static_cast<unsigned>(what.place & 0xff), number >> 8 & 0xff,
                number & 0xff);
  to += text.data();
}

void write_base64(const mark& what, const moment& at, std::string& to) {
  constexpr std::string_view letters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const chance from = here(what, at);
  for (std::size_t i = 0; i < static_cast<std::size_t>(what.first); ++i)
    to += letters[from.at(i).bits() % letters.size()];
}

void write_node(const mark&, const moment& at, std::string& to) {
  to += at.node;
}

void write_address(const mark& what, const moment& at, std::string& to) {
  constexpr std::size_t hosts = 250;  // below one third number
  to += what.text + "." + std::to_string(at.index / hosts) + "." +
        std::to_string(at.index % hosts + 2);
}

void write_uptime(const mark& what, const moment& at, std::string& to) {
  append_number(what.first * (static_cast<double>(at.now - at.booted) +
                              here_now(what, at).uniform()),
                what.decimals, to);
}

void write_booted(const mark&, const moment& at, std::string& to) {
  to += std::to_string(at.booted);
}

void write_date(const mark& what, const moment& at, std::string& to) {
  const std::time_t now = at.now;
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  std::array<char, 80> text{};
  to.append(text.data(),
            std::strftime(text.data(), text.size(), what.text.c_str(), &parts));
}

// What firmware keeps for itself differs a little, on one node in ten.
double memory_kib(const mark& what, const moment& at) {
  const chance of = at.of_node.at("memory");
  if (of.uniform() > 0.1) return what.first;
  return what.first - 4 * std::floor(1 + 99 * of.at("kept").uniform());
}

void write_memory(const mark& what, const moment& at, std::string& to) {
  append_count(memory_kib(what, at) * what.second, to);
}

enum class argument { number, decimals, count, key, rest };

struct mark_form {
  std::string_view name;
  mark::writer write;
  std::vector<argument> arguments;
};

std::span<const mark_form> forms() {
  using enum argument;
  static const std::vector<mark_form> known = {
      {"near", write_near, {number, number, decimals, key}},
      {"tail", write_tail, {number, number, decimals, key}},
      {"between", write_between, {number, number, decimals, key}},
      {"steady", write_steady, {number, number, decimals, key}},
      {"count", write_count, {number, key}},
      {"ever", write_ever, {number, key}},
      {"few", write_few, {number, number, key}},
      {"hex", write_hex, {number, key}},
      {"base64", write_base64, {number, key}},
      {"mac", write_mac, {key}},
      {"boot-uuid", write_boot_uuid, {key}},
      {"run-uuid", write_run_uuid, {key}},
      {"node", write_node, {}},
      {"address", write_address, {rest}},
      {"uptime", write_uptime, {number, decimals}},
      {"booted", write_booted, {}},
      {"date", write_date, {rest}},
      {"memory", write_memory, {number, number}},
  };
  return known;
}

std::vector<std::string> words_of(std::string_view text) {
  std::istringstream in{std::string(text)};
  std::vector<std::string> words;
  for (std::string word; in >> word;)
    words.push_back(word);
  return words;
}

class mark_reader {
 public:
  mark_reader(std::string_view text, const machine_class& of)
      : text_(text), words_(words_of(text)), of_(of) {}

  mark read(const mark_form& form, std::uint64_t place) {
    mark made{.write = form.write, .place = place, .text = ""};
    for (const argument each : form.arguments)
      take(each, made);
    if (next_ < words_.size()) wrong();
    return made;
  }

 private:
  [[noreturn]] void wrong() const {
    throw std::runtime_error("{{" + std::string(text_) +
                             "}} has not what that mark takes");
  }
  const std::string& word() {
    if (next_ == words_.size()) wrong();
    return words_[next_++];
  }
  void take_number(mark& to) {
    (numbers_++ == 0 ? to.first : to.second) = number_of(of_, word());
  }
  void take(argument what, mark& to) {
    switch (what) {
      case argument::number:
      case argument::count:
        return take_number(to);
      case argument::decimals:
        to.decimals = static_cast<int>(number_of(of_, word()));
        return;
      case argument::key:
        if (next_ < words_.size()) to.place = place_of(word());
        return;
      case argument::rest:
        while (next_ < words_.size())
          to.text += (to.text.empty() ? "" : " ") + word();
    }
  }

  std::string_view text_;
  std::vector<std::string> words_;
  std::size_t next_ = 1;
  int numbers_ = 0;
  const machine_class& of_;
};

}  // namespace

mark read_mark(std::string_view text, const machine_class& of,
               std::uint64_t place) {
  const std::string_view name = text.substr(0, text.find(' '));
  for (const mark_form& form : forms()) {
    if (form.name == name) return mark_reader(text, of).read(form, place);
  }
  throw std::runtime_error("there is no mark {{" + std::string(text) + "}}");
}

}  // namespace zelk::synthetic
