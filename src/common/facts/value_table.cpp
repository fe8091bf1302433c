#include "src/common/facts/value_table.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <variant>

namespace zelk::facts {

namespace {

constexpr std::size_t fewest_slots = 1024;  // a power of two

// Puts all bits into the low ones, which choose the slot: measurements often
// have the same low bits, and counters the same high ones. These are the last
// steps of the SplitMix64 generator.
std::size_t spread(std::uint64_t bits) {
  bits = (bits ^ (bits >> 30U)) * 0xbf58476d1ce4e5b9U;
  bits = (bits ^ (bits >> 27U)) * 0x94d049bb133111ebU;
  return bits ^ (bits >> 31U);
}

// Such a number is written as an integer is, which 100,000 ("1e+05") and -0 are
// not.
std::optional<std::int64_t> as_written_integer(double number) {
  constexpr double largest = 1e15;  // all integers up to it are doubles
  if (std::abs(number) > largest || number != std::trunc(number)) return {};
  const auto whole = static_cast<std::int64_t>(number);
  if (text_of(number) != std::to_string(whole)) return {};
  return whole;
}

std::size_t hash_of_text(std::string_view text) {
  return std::hash<std::string_view>()(text);
}

}  // namespace

std::size_t value_table::hash_of(const item& of) const {
  if (of.what == kind::text) return hash_of_text(text_at(of));
  return spread(of.bits + static_cast<std::uint64_t>(of.what));
}

bool value_table::same(const item& a, const item& b,
                       std::string_view text_of_b) const {
  if (a.what != b.what) return false;
  return a.what == kind::text ? text_at(a) == text_of_b : a.bits == b.bits;
}

void value_table::make_slots() {
  const std::size_t count = std::bit_ceil((items_.size() + 1) * 2);
  slots_ = {};  // before there are others
  slots_.assign(std::max(fewest_slots, count), 0);
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = 0; i < items_.size(); ++i) {
    std::size_t slot = hash_of(items_[i]) & mask;
    while (slots_[slot] != 0)
      slot = (slot + 1) & mask;
    slots_[slot] = static_cast<std::uint32_t>(i + 1);
  }
}

std::uint32_t value_table::find_or_add(item wanted, std::string_view text) {
  if ((items_.size() + 1) * 2 > slots_.size()) make_slots();
  const bool is_text = wanted.what == kind::text;
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = (is_text ? hash_of_text(text) : hash_of(wanted)) & mask;
  for (; slots_[slot] != 0; slot = (slot + 1) & mask)
    if (same(items_[slots_[slot] - 1], wanted, text)) return slots_[slot] - 1;
  const std::size_t bytes = sizeof wanted + text.size();
  // The last two indexes have a meaning of their own to those who use this.
  if (bytes > bytes_left_ || items_.size() + 2 >= no_index) return no_index;
  bytes_left_ -= bytes;
  if (is_text) {
    wanted.bits = texts_.size();
    wanted.length = static_cast<std::uint32_t>(text.size());
    texts_ += text;
  }
  items_.push_back(wanted);
  slots_[slot] = static_cast<std::uint32_t>(items_.size());
  return static_cast<std::uint32_t>(items_.size() - 1);
}

std::uint32_t value_table::index_of_text(std::string_view text) {
  if (text.size() > longest_text) return no_index;
  return find_or_add({0, 0, kind::text}, text);
}

std::uint32_t value_table::index_of(const fact_value& value) {
  if (const auto* text = std::get_if<std::string>(&value))
    return index_of_text(*text);
  if (const auto* whole = std::get_if<std::int64_t>(&value))
    return find_or_add({static_cast<std::uint64_t>(*whole), 0, kind::integer},
                       {});
  if (const auto* number = std::get_if<double>(&value)) {
    if (const auto whole = as_written_integer(*number))
      return index_of(fact_value(*whole));
    return find_or_add({std::bit_cast<std::uint64_t>(*number), 0, kind::number},
                       {});
  }
  return find_or_add({std::get<bool>(value) ? 1U : 0U, 0, kind::boolean}, {});
}

void value_table::settle() {
  slots_ = {};
  texts_.shrink_to_fit();
}

fact_value value_table::at(std::uint32_t index) const {
  const item& of = items_[index];
  switch (of.what) {
    case kind::integer:
      return static_cast<std::int64_t>(of.bits);
    case kind::number:
      return std::bit_cast<double>(of.bits);
    case kind::boolean:
      return of.bits != 0;
    case kind::text:
      break;
  }
  return std::string(text_at(of));
}

fact_value value_table::at(std::uint32_t index, value_type type) const {
  fact_value value = at(index);
  if (type == value_type::number)
    if (const auto* whole = std::get_if<std::int64_t>(&value))
      return static_cast<double>(*whole);
  return value;
}

std::string value_table::text(std::uint32_t index) const {
  const item& of = items_[index];
  return of.what == kind::text ? std::string(text_at(of)) : text_of(at(index));
}

std::optional<double> value_table::number(std::uint32_t index) const {
  const item& of = items_[index];
  switch (of.what) {
    case kind::integer:
      return static_cast<double>(static_cast<std::int64_t>(of.bits));
    case kind::number:
      return std::bit_cast<double>(of.bits);
    case kind::boolean:
      return of.bits != 0 ? 1 : 0;
    case kind::text:
      break;
  }
  return std::nullopt;
}

}  // namespace zelk::facts
