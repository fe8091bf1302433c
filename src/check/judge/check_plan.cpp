#include "src/check/judge/check_plan.h"

#include <algorithm>
#include <utility>

#include "src/check/judge/built_in_checks.h"
#include "src/check/judge/glob.h"

namespace zelk::check {

namespace {

// "net.eth0.mtu": "net"; "*.mtu" and "n*" have none.
std::string_view first_word(std::string_view name) {
  const std::size_t end = name.find_first_of(".*?");
  if (end == name.npos) return name;
  return name[end] == '.' ? name.substr(0, end) : std::string_view();
}

// Whether it compares with other nodes or another run.
bool is_comparison(rule kind) {
  return kind == rule::differs || kind == rule::peers || kind == rule::unique ||
         kind == rule::changed || kind == rule::growth;
}

// Whether a pattern may catch the fact for such a check. One that is declared
// never to be compared was not meant; nor was a measurement by who asks for
// equal values. The full name takes any.
bool fits(rule kind, const fact_column& fact) {
  const facts::comparison declared = fact.traits.compare;
  if (kind == rule::differs || kind == rule::changed)
    return declared == facts::comparison::equal;
  return !is_comparison(kind) || declared != facts::comparison::unstable;
}

// How many bytes of the name the check itself has written; 0: it does not name
// the fact.
std::size_t said_of(const check_definition& check, const fact_column& fact) {
  if (matches_any(check.except, fact.name)) return 0;
  const bool is_fit = fits(check.what.kind, fact);
  std::size_t most = 0;
  for (const std::string& each : check.facts) {
    if (!matches(each, fact.name) || (!is_fit && is_pattern(each))) continue;
    const auto wild = std::count_if(
        each.begin(), each.end(), [](char c) { return c == '*' || c == '?'; });
    most = std::max(most, each.size() - static_cast<std::size_t>(wild) + 1);
  }
  return most;
}

struct named_check {
  const check_definition* check;
  std::size_t said;
};

// Of checks that compare in one way, the one with the most specific name has
// the fact: a setting that follows from the memory is not judged as all others.
bool is_surpassed(const named_check& by, const named_check& check) {
  const check_rule& rule_of = check.check->what;
  const check_rule& other = by.check->what;
  return is_comparison(rule_of.kind) && other.kind == rule_of.kind &&
         other.direction == rule_of.direction && by.said > check.said;
}

std::vector<const check_definition*> most_specific(
    const std::vector<named_check>& all) {
  std::vector<const check_definition*> result;
  for (const named_check& each : all)
    if (std::none_of(all.begin(), all.end(), [&](const named_check& other) {
          return is_surpassed(other, each);
        }))
      result.push_back(each.check);
  return result;
}

bool is_change(const check_definition* check) {
  return check->what.kind == rule::changed;
}

// Whether a fact that it names is not judged by its declaration any more.
bool is_claim(const check_definition* check) {
  return !is_change(check) && check->id != built_in::limit;
}

// Where one of the checks says that the fact is not judged, takes out all that
// do not have its full name, and tells so.
bool leave_alone(std::vector<const check_definition*>& named,
                 const std::string& fact) {
  const bool is_none = std::any_of(
      named.begin(), named.end(),
      [](const auto* each) { return each->what.kind == rule::none; });
  if (is_none)
    std::erase_if(named, [&](const check_definition* each) {
      return each->what.kind == rule::none ||
             std::find(each->facts.begin(), each->facts.end(), fact) ==
                 each->facts.end();
    });
  return is_none;
}

bool worse(const check_definition* a, const check_definition* b) {
  return a->score != b->score ? a->score > b->score : a->id < b->id;
}

}  // namespace

check_plan::check_plan(const check_set& checks, const judge_options& options)
    : checks_(checks), options_(options) {
  for (const check_definition* each : checks.all())
    if (!each->facts.empty())
      add(*each,
          is_asked_for(each->id) && (each->quick || !options.quick_only));
  const check_definition* limit = built_in(built_in::limit);
  for (const metric_limit& each : options.limits) {
    if (limit == nullptr) break;
    check_definition& made = made_.emplace_back(*limit);
    made.facts = {each.metric};
    made.what.limit = each.allowed;
    made.typed = each.text;
    add(made, true);
  }
}

void check_plan::add(const check_definition& definition, bool is_asked) {
  if (is_asked) asked_.insert(&definition);
  if (is_asked && definition.what.kind == rule::present &&
      !definition.what.provider.empty())
    wanted_.push_back(&definition);
  for (const std::string& fact : definition.facts) {
    const std::string_view word = first_word(fact);
    auto& list = word.empty() ? of_any_word_ : by_word_[std::string(word)];
    if (std::find(list.begin(), list.end(), &definition) == list.end())
      list.push_back(&definition);
  }
}

bool check_plan::is_asked_for(const std::string& id) const {
  return (options_.only.empty() || matches_any(options_.only, id)) &&
         !matches_any(options_.skip, id);
}

column_checks check_plan::for_column(const column_view& column) {
  column_checks result;
  const std::string& name = column.fact->name;
  const auto found =
      by_word_.find(std::string_view(name).substr(0, name.find('.')));
  std::set<const check_definition*> candidates(of_any_word_.begin(),
                                               of_any_word_.end());
  if (found != by_word_.end())
    candidates.insert(found->second.begin(), found->second.end());
  std::vector<named_check> naming;
  for (const check_definition* each : candidates)
    if (const std::size_t said = said_of(*each, *column.fact); said > 0)
      naming.push_back({each, said});
  result.named = most_specific(naming);
  const bool is_left_alone = leave_alone(result.named, name);
  std::sort(result.named.begin(), result.named.end(), worse);
  const auto& named = result.named;
  const bool may_be_generic = !options_.quick_only && !is_left_alone;
  result.generic =
      may_be_generic && std::none_of(named.begin(), named.end(), is_claim);
  result.generic_change =
      may_be_generic && std::none_of(named.begin(), named.end(), is_change);
  std::erase_if(result.named, [this](const check_definition* each) {
    return asked_.count(each) == 0;
  });
  return result;
}

const check_definition* check_plan::generic(const std::string& provider,
                                            const char* ending) {
  const std::string id = generic_id(provider, ending);
  const auto [place, is_new] = generic_.try_emplace(id, nullptr);
  if (!is_new || !is_asked_for(id)) return place->second;
  std::optional<check_definition> made = generic_check(id);
  if (const check_definition* written = checks_.find(id)) {
    const check_rule declared = made->what;
    made = *written;
    made->what = declared;
  }
  place->second = &made_.emplace_back(std::move(*made));
  return place->second;
}

bool check_plan::tells_of_answers() const {
  for (const char* id :
       {built_in::no_answer, built_in::timed_out, built_in::failed,
        built_in::incomplete, built_in::unreadable, built_in::stale})
    if (built_in(id) != nullptr) return true;
  return false;
}

const check_definition* check_plan::built_in(const char* id) const {
  return is_asked_for(id) ? checks_.find(id) : nullptr;
}

}  // namespace zelk::check
