#include "src/check/judge/definitions.h"

#include <algorithm>
#include <utility>

#include "src/check/judge/built_in_checks.h"

namespace zelk::check {

namespace {

constexpr auto by_id = [](const check_definition& definition,
                          std::string_view id) { return definition.id < id; };

}  // namespace

check_set::check_set() {
  for (check_definition& each : built_in_checks())
    put(std::move(each));
}

void check_set::put(check_definition definition) {
  const auto place =
      std::lower_bound(checks_.begin(), checks_.end(), definition.id, by_id);
  if (place != checks_.end() && place->id == definition.id)
    *place = std::move(definition);
  else
    checks_.insert(place, std::move(definition));
}

const check_definition* check_set::find(std::string_view id) const {
  const auto place =
      std::lower_bound(checks_.begin(), checks_.end(), id, by_id);
  return place != checks_.end() && place->id == id ? &*place : nullptr;
}

std::vector<const check_definition*> check_set::all() const {
  std::vector<const check_definition*> result;
  for (const check_definition& each : checks_)
    result.push_back(&each);
  return result;
}

std::optional<check_definition> check_set::generic(std::string_view id) const {
  return generic_check(id);
}

const char* name_of(rule kind) {
  switch (kind) {
    case rule::differs:
      return "differs";
    case rule::peers:
      return "peers";
    case rule::range:
      return "range";
    case rule::value:
      return "value";
    case rule::unique:
      return "unique";
    case rule::changed:
      return "changed";
    case rule::growth:
      return "growth";
    case rule::present:
      return "present";
    case rule::absent:
      return "absent";
    case rule::none:
      return "none";
  }
  return "";
}

}  // namespace zelk::check
