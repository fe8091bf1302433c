// From what is written to what can be looked for, with a complaint about all
// that does not go together.
//
// The schema has checked single values. What is left is what it cannot say:
// whether an expression compiles and has the groups that the name uses, whether
// there is such a unit, and which attributes make sense beside which others.
// All faults of a description are told at once, so that its writer mends it
// once.

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "src/common/facts/compiled.h"
#include "src/common/facts/units.h"
#include "src/common/facts/value.h"
#include "src/common/log/error_log.h"

namespace zelk::facts {

namespace {

using preproc::written_fact;
using preproc::written_facts;

constexpr char source[] = "src/common/facts/compile";

// Far more than the expressions of a description need; a repetition of a
// repetition asks for more.
constexpr std::int64_t expression_memory = std::int64_t{4} << 20;  // bytes

template <typename Value, std::size_t N>
using word_table = std::array<std::pair<const char*, Value>, N>;

constexpr word_table<output_format, 5> formats{
    {{"lines", output_format::lines},
     {"equals", output_format::equals},
     {"json", output_format::json},
     {"patterns", output_format::patterns},
     {"nagios", output_format::nagios}}};
constexpr word_table<value_type, 4> types{{{"text", value_type::text},
                                           {"integer", value_type::integer},
                                           {"number", value_type::number},
                                           {"boolean", value_type::boolean}}};
constexpr word_table<better, 3> directions{{{"none", better::none},
                                            {"higher", better::higher},
                                            {"lower", better::lower}}};
constexpr word_table<comparison, 6> comparisons{
    {{"equal", comparison::equal},
     {"outlier", comparison::outlier},
     {"counter", comparison::counter},
     {"unique", comparison::unique},
     {"volatile", comparison::unstable},
     {"state", comparison::state}}};
constexpr word_table<several, 8> combinations{{{"error", several::error},
                                               {"set", several::set},
                                               {"count", several::count},
                                               {"sum", several::sum},
                                               {"first", several::first},
                                               {"last", several::last},
                                               {"min", several::min},
                                               {"max", several::max}}};

bool is_numeric(value_type type) {
  return type == value_type::integer || type == value_type::number;
}

std::string attribute_of(const written_fact& fact, const char* name) {
  const auto found = fact.attributes.find(name);
  return found == fact.attributes.end() ? "" : found->second;
}

// One fact on its way.
class fact_compiler {
 public:
  fact_compiler(const written_facts& all, const written_fact& written,
                output_format format)
      : all_(all), written_(written), format_(format) {}

  compiled_fact compile();
  bool faulty() const { return faulty_; }

 private:
  void expected(const std::string& what);
  template <typename Value, std::size_t N>
  Value choose(const char* attribute, const word_table<Value, N>& table);

  void read_values();
  void read_expressions();
  std::unique_ptr<RE2> expression(const char* attribute);
  void read_path();
  void choose_value_group();
  void fill_places();
  void fill_place(name_template::place& place);
  std::size_t groups_of_from() const;
  void check_presence();
  void check_traits();

  const written_facts& all_;
  const written_fact& written_;
  output_format format_;
  compiled_fact fact_;
  bool faulty_ = false;
};

void complain(const std::string& path, long line, const std::string& what) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << path << ":" << line << ": " << what;
}

void fact_compiler::expected(const std::string& what) {
  faulty_ = true;
  complain(all_.path, written_.line,
           "fact '" + fact_.written_name + "': expected " + what);
}

template <typename Value, std::size_t N>
Value fact_compiler::choose(const char* attribute,
                            const word_table<Value, N>& table) {
  const std::string written = attribute_of(written_, attribute);
  if (written.empty()) return table.front().second;
  for (const auto& [word, value] : table)
    if (written == word) return value;
  expected(std::string("another value of '") + attribute + "' than '" +
           written + "'");
  return table.front().second;
}

void fact_compiler::read_values() {
  fact_.line = written_.line;
  fact_.written_name = attribute_of(written_, "name");
  fact_.written_from = attribute_of(written_, "from");
  fact_.written_pattern = attribute_of(written_, "pattern");
  fact_.name = name_template(fact_.written_name);
  fact_.read_as = choose("type", types);
  fact_.combine = choose("several", combinations);
  fact_.optional = attribute_of(written_, "optional") == "yes";
  fact_.traits.direction = choose("better", directions);
  fact_.traits.compare = choose("compare", comparisons);
  fact_.traits.unit = attribute_of(written_, "unit");
  fact_.traits.type = fact_.combine == several::count ? value_type::integer
                      : fact_.combine == several::set ? value_type::list
                                                      : fact_.read_as;
}

std::unique_ptr<RE2> fact_compiler::expression(const char* attribute) {
  const std::string written = attribute_of(written_, attribute);
  if (written.empty()) return nullptr;
  RE2::Options options;
  options.set_log_errors(false);
  options.set_max_mem(expression_memory);
  auto made = std::make_unique<RE2>(written, options);
  if (!made->ok()) {
    expected(std::string("in '") + attribute + "' an RE2 expression; '" +
             excerpt(written) + "' has " + made->error());
    return nullptr;
  }
  if (made->NumberOfCapturingGroups() > most_groups)
    expected(std::string("in '") + attribute + "' at most " +
             std::to_string(most_groups) + " groups; (?:...) is none");
  return made;
}

void fact_compiler::read_path() {
  const std::string wrong = read_json_path(fact_.written_from, fact_.path);
  if (!wrong.empty()) expected("in 'from' " + wrong);
}

void fact_compiler::read_expressions() {
  if (format_ == output_format::json)
    read_path();
  else if (format_ != output_format::patterns)
    fact_.from = expression("from");
  fact_.pattern = expression("pattern");
  choose_value_group();
  fill_places();
}

void fact_compiler::choose_value_group() {
  if (!fact_.pattern) return;
  const auto& named = fact_.pattern->NamedCapturingGroups();
  const auto value = named.find("value");
  if (value != named.end()) fact_.value_group = value->second;
  // A group with a name is mostly for the fact's name: one without goes first.
  const int count = fact_.pattern->NumberOfCapturingGroups();
  const auto& names = fact_.pattern->CapturingGroupNames();
  for (int group = 1; fact_.value_group == 0 && group <= count; ++group)
    if (names.count(group) == 0) fact_.value_group = group;
  if (fact_.value_group == 0 && count > 0) fact_.value_group = 1;
  fact_.pattern_groups = fact_.value_group;
}

std::size_t fact_compiler::groups_of_from() const {
  if (format_ == output_format::json) return groups_of(fact_.path);
  if (!fact_.from) return 0;
  return static_cast<std::size_t>(fact_.from->NumberOfCapturingGroups());
}

void fact_compiler::fill_place(name_template::place& place) {
  using side = group_source::side;
  if (place.written.find_first_not_of("0123456789") == std::string::npos) {
    const unsigned long number = std::stoul(place.written.substr(0, 9));
    place.source = {side::from, number};
    if (number == 0 || number > groups_of_from())
      expected("in 'from' a group for {" + place.written +
               "} of the name; it has " + std::to_string(groups_of_from()));
    return;
  }
  for (const side where : {side::pattern, side::from}) {
    const RE2* in =
        where == side::pattern ? fact_.pattern.get() : fact_.from.get();
    if (in == nullptr) continue;
    const auto found = in->NamedCapturingGroups().find(place.written);
    if (found == in->NamedCapturingGroups().end()) continue;
    place.source = {where, static_cast<std::size_t>(found->second)};
    return;
  }
  expected("a group (?P<" + place.written + ">...) for {" + place.written +
           "} of the name");
}

void fact_compiler::fill_places() {
  for (name_template::place& place : fact_.name.places())
    fill_place(place);
  using side = group_source::side;
  fact_.from_groups = static_cast<int>(fact_.name.groups_of(side::from));
  fact_.pattern_groups =
      std::max(fact_.pattern_groups,
               static_cast<int>(fact_.name.groups_of(side::pattern)));
}

void fact_compiler::check_presence() {
  const bool patterns = format_ == output_format::patterns;
  if (patterns && !fact_.written_from.empty())
    expected("no 'from': with format \"patterns\" lines have no source");
  if (patterns && fact_.written_pattern.empty())
    expected("the attribute 'pattern'");
  if (!patterns && fact_.written_from.empty()) expected("the attribute 'from'");
}

void fact_compiler::check_traits() {
  const fact_traits& traits = fact_.traits;
  const bool numeric = is_numeric(traits.type);
  if (!traits.unit.empty() && !unit_of(traits.unit))
    expected("a known unit instead of '" + excerpt(traits.unit) +
             "': " + known_units());
  if (!traits.unit.empty() && !numeric)
    expected("type integer or number beside a unit");
  if (traits.direction != better::none && !numeric)
    expected("type integer or number beside better=\"" +
             std::string(name_of(traits.direction)) + "\"");
  if (traits.compare == comparison::state && traits.type != value_type::integer)
    expected("type integer beside compare=\"state\"");
  if ((traits.compare == comparison::outlier ||
       traits.compare == comparison::counter) &&
      !numeric)
    expected("type integer or number beside compare=\"" +
             std::string(name_of(traits.compare)) + "\"");
  const several how = fact_.combine;
  if ((how == several::sum || how == several::min || how == several::max) &&
      !numeric)
    expected("type integer or number beside several=\"" +
             attribute_of(written_, "several") + "\"");
}

compiled_fact fact_compiler::compile() {
  read_values();
  check_presence();
  // A name is complained about only where its expressions are well.
  if (!faulty_) read_expressions();
  check_traits();
  return std::move(fact_);
}

output_format format_of(const std::string& word) {
  for (const auto& [name, value] : formats)
    if (word == name) return value;
  return output_format::lines;
}

// Returns whether every fact has a name of its own and, with plugins, none.
bool check_list(const written_facts& written, output_format format) {
  bool good = true;
  std::map<std::string, long> lines;
  for (const written_fact& fact : written.facts) {
    const std::string name = attribute_of(fact, "name");
    const auto [first, is_new] = lines.emplace(name, fact.line);
    if (!is_new) {
      complain(written.path, fact.line,
               "expected another name than '" + name +
                   "', which the fact of line " +
                   std::to_string(first->second) + " has");
      good = false;
    }
  }
  if (format == output_format::nagios && !written.facts.empty()) {
    complain(written.path, written.facts.front().line,
             "expected no 'fact' with format \"nagios\": what a plugin prints "
             "says itself what it means");
    good = false;
  }
  return good;
}

std::unique_ptr<expression_set> selectors_of(const compiled_facts& all) {
  if (all.format == output_format::json || all.format == output_format::nagios)
    return nullptr;
  std::vector<const RE2*> expressions;
  expressions.reserve(all.facts.size());
  for (const compiled_fact& fact : all.facts)
    expressions.push_back(all.format == output_format::patterns
                              ? fact.pattern.get()
                              : fact.from.get());
  return std::make_unique<expression_set>(expressions);
}

}  // namespace

std::unique_ptr<const compiled_facts> compile(const written_facts& written) {
  auto result = std::make_unique<compiled_facts>();
  result->path = written.path;
  result->provider = written.provider;
  result->version = written.version;
  result->description = written.description;
  result->declared = written.declared;
  result->format = format_of(written.format);
  bool good = check_list(written, result->format);
  if (result->format == output_format::nagios)
    return good ? std::move(result) : nullptr;
  for (const written_fact& each : written.facts) {
    fact_compiler compiler(written, each, result->format);
    result->facts.push_back(compiler.compile());
    good = good && !compiler.faulty();
  }
  if (!good) return nullptr;
  result->selectors = selectors_of(*result);
  return result;
}

}  // namespace zelk::facts
