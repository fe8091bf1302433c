#include "src/check/input/value_table.h"

#include <functional>
#include <string_view>
#include <utility>
#include <variant>

namespace zelk::check {

namespace {

constexpr std::size_t first_slots = 1024;  // a power of two

std::optional<double> number_of(const facts::fact_value& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value))
    return static_cast<double>(*whole);
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* is = std::get_if<bool>(&value)) return *is ? 1 : 0;
  return {};
}

bool same(const fact_value& a, const fact_value& b) {
  return a.number.has_value() == b.number.has_value() && a.text == b.text;
}

std::size_t hash_of(const fact_value& value) {
  return std::hash<std::string_view>()(value.text) ^
         (value.number ? std::size_t{1} : std::size_t{0});
}

}  // namespace

value_table::value_table(std::vector<fact_value>& to, std::size_t most_bytes)
    : values_(to), bytes_left_(most_bytes), slots_(first_slots) {}

std::size_t value_table::slot_of(const fact_value& value) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash_of(value) & mask;
  while (slots_[slot] != 0 && !same(values_[slots_[slot] - 1], value))
    slot = (slot + 1) & mask;
  return slot;
}

void value_table::grow() {
  slots_.assign(slots_.size() * 2, 0);
  for (std::size_t i = 0; i < values_.size(); ++i)
    slots_[slot_of(values_[i])] = static_cast<std::uint32_t>(i + 1);
}

std::uint32_t value_table::index_of(const facts::fact_value& value) {
  fact_value wanted = {facts::text_of(value), number_of(value)};
  std::size_t slot = slot_of(wanted);
  if (slots_[slot] != 0) return slots_[slot] - 1;
  const std::size_t bytes = wanted.text.size() + sizeof wanted;
  if (bytes > bytes_left_ || values_.size() + 2 >= no_value) return no_value;
  bytes_left_ -= bytes;
  values_.push_back(std::move(wanted));
  slots_[slot] = static_cast<std::uint32_t>(values_.size());
  if (values_.size() * 2 > slots_.size()) grow();
  return static_cast<std::uint32_t>(values_.size() - 1);
}

}  // namespace zelk::check
