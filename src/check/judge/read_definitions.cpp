#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <system_error>

#include "src/check/judge/definitions.h"
#include "src/common/log/error_log.h"
#include "src/common/str/str.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::check {

namespace {

constexpr char source[] = "src/check/judge/read_definitions.cpp";

const std::map<std::string, rule> kinds = {
    {"differs", rule::differs}, {"peers", rule::peers},
    {"range", rule::range},     {"value", rule::value},
    {"unique", rule::unique},   {"changed", rule::changed},
    {"growth", rule::growth},   {"present", rule::present},
    {"absent", rule::absent},   {"none", rule::none}};

const std::map<std::string, side> sides = {{"by-better", side::by_better},
                                           {"low", side::low},
                                           {"high", side::high},
                                           {"both", side::both}};

// The attributes that mean something, by kind; all others would be believed to
// do what they do not.
const std::map<rule, std::vector<std::string>> attributes_of = {
    {rule::differs,
     {"direction", "min_effect", "min_peers", "min_share", "is", "ignore"}},
    {rule::peers,
     {"direction", "min_effect", "min_difference", "z", "min_peers",
      "min_facts"}},
    {rule::range, {"limit"}},
    {rule::value, {"is", "is_not", "ignore"}},
    {rule::unique, {"ignore"}},
    {rule::changed, {"ignore"}},
    {rule::growth, {"more_than", "alone_more_than", "z", "min_peers"}},
    {rule::present, {"provider"}},
    {rule::absent, {"ignore"}},
    {rule::none, {}}};

const std::vector<std::string> all_attributes = {
    "direction", "min_effect",     "min_difference", "z",
    "min_peers", "limit",          "more_than",      "is",
    "is_not",    "ignore",         "provider",       "min_share",
    "min_facts", "alone_more_than"};

// White space as a schema's token has it.
std::string token(const xmlNode& element) {
  std::string result;
  for (const std::string& word : str::split(
           str::replace(
               str::replace(str::replace(xml::content(element), "\n", " "),
                            "\t", " "),
               "\r", " "),
           ' ', true))
    result += (result.empty() ? "" : " ") + word;
  return result;
}

// Lines of a paragraph are joined; an empty line parts two.
std::string paragraphs(const std::string& text) {
  std::string result;
  bool fresh = true;
  for (const std::string& line : str::split(text, '\n')) {
    const std::string words = str::strip(line);
    if (words.empty()) {
      fresh = true;
      continue;
    }
    if (!result.empty()) result += fresh ? "\n\n" : " ";
    result += words;
    fresh = false;
  }
  return result;
}

class file_reader {
 public:
  explicit file_reader(const std::string& path) : path_(path) {}

  bool faulty() const { return faulty_; }

  check_definition read(const xmlNode& element) {
    check_definition result;
    result.file = path_;
    result.line = xml::line_of(element);
    result.id = attribute(element, "id");
    // The schema has checked all that is written as a number.
    result.score =
        static_cast<int>(number(attribute(element, "score")).value_or(0));
    result.quick = attribute(element, "quick") == "yes";
    result.drain_word = attribute(element, "drain");
    result.title = token(*xml::child(&element, "title"));
    result.facts = texts(element, "fact");
    result.except = texts(element, "except");
    result.causes = texts(element, "cause");
    result.advice = texts(element, "advice");
    if (const xmlNode* explain = xml::child(&element, "explain"))
      result.explain = paragraphs(xml::content(*explain));
    result.what = read_rule(*xml::child(&element, "rule"));
    return result;
  }

  void expected(const xmlNode& at, const std::string& what) {
    faulty_ = true;
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << path_ << ":" << xml::line_of(at) << ": expected " << what;
  }

 private:
  static std::string attribute(const xmlNode& element, const char* name) {
    return xml::attribute(&element, name).value_or("");
  }

  static std::optional<double> number(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    double value = 0;
    const auto read =
        std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || read.ec != std::errc()) return std::nullopt;
    return value;
  }

  static std::vector<std::string> texts(const xmlNode& of, const char* name) {
    std::vector<std::string> result;
    for (const xmlNode* each : xml::children(&of, name))
      result.push_back(token(*each));
    return result;
  }

  // "a|b" are two patterns; blanks around them are none of theirs.
  static std::vector<std::string> patterns(const xmlNode& element,
                                           const char* name) {
    std::vector<std::string> result;
    const auto written = xml::attribute(&element, name);
    if (!written) return result;
    for (const std::string& each : str::split(*written, '|'))
      result.push_back(str::strip(each));
    return result;
  }

  void check_attributes(const xmlNode& element, rule kind) {
    const std::vector<std::string>& allowed = attributes_of.at(kind);
    for (const std::string& name : all_attributes)
      if (xml::attribute(&element, name) &&
          std::find(allowed.begin(), allowed.end(), name) == allowed.end())
        expected(element, std::string("no attribute ") + name +
                              " in a rule of kind " + name_of(kind));
    if (kind == rule::range && !xml::attribute(&element, "limit"))
      expected(element, "an attribute limit in a rule of kind range");
    if (kind == rule::value && !xml::attribute(&element, "is") &&
        !xml::attribute(&element, "is_not"))
      expected(element, "an attribute is or is_not in a rule of kind value");
  }

  check_rule read_rule(const xmlNode& element) {
    check_rule result;
    result.kind = kinds.at(attribute(element, "kind"));
    check_attributes(element, result.kind);
    const auto side_written = xml::attribute(&element, "direction");
    if (side_written) result.direction = sides.at(*side_written);
    result.min_effect = number(attribute(element, "min_effect"));
    result.min_difference = number(attribute(element, "min_difference"));
    result.z = number(attribute(element, "z"));
    if (const auto peers = number(attribute(element, "min_peers")))
      result.min_peers = static_cast<std::size_t>(*peers);
    result.min_share = number(attribute(element, "min_share")).value_or(0);
    result.min_facts = static_cast<std::size_t>(
        number(attribute(element, "min_facts")).value_or(1));
    result.growth = number(attribute(element, "more_than")).value_or(0);
    result.alone_growth = number(attribute(element, "alone_more_than"));
    result.values = patterns(element, "is");
    result.refused = patterns(element, "is_not");
    result.ignored = patterns(element, "ignore");
    result.provider = attribute(element, "provider");
    if (const auto limit = xml::attribute(&element, "limit")) {
      std::string problem;
      result.limit = read_range(*limit, problem);
      if (!result.limit)
        expected(element, problem.substr(problem.find(' ') + 1));
    }
    return result;
  }

  std::string path_;
  bool faulty_ = false;
};

// Returns the *.xml of `folder` in byte order, or nothing after a record.
std::optional<std::vector<std::string>> files_of(const std::string& folder) {
  std::vector<std::string> paths;
  std::error_code error;
  std::filesystem::directory_iterator each(folder, error);
  for (; !error && each != std::filesystem::directory_iterator();
       each.increment(error))
    if (each->path().extension() == ".xml")
      paths.push_back(each->path().string());
  if (error) {
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << folder
        << ": expected a folder of check definitions: " << error.message();
    return std::nullopt;
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// The checks of one folder, by id, so that an id that stands twice is seen.
using folder_checks = std::map<std::string, check_definition>;

bool read_file(const std::string& path, const std::string& schema,
               folder_checks& into) {
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(path, schema, opened)) return false;
  const xml::unique_doc document(opened);
  file_reader reader(path);
  for (const xmlNode* element : xml::children(xml::root(*document), "check")) {
    check_definition made = reader.read(*element);
    const auto [place, is_new] = into.try_emplace(made.id, made);
    if (!is_new)
      reader.expected(*element, "an id that is not that of " +
                                    place->second.file + ":" +
                                    std::to_string(place->second.line));
  }
  return !reader.faulty();
}

}  // namespace

std::optional<check_set> check_set::read(
    const std::vector<std::string>& folders, const std::string& schema) {
  check_set result;
  bool fine = true;
  for (const std::string& folder : folders) {
    const auto paths = files_of(folder);
    if (!paths) fine = false;
    folder_checks found;
    for (const std::string& path : paths.value_or(std::vector<std::string>())) {
      fine = read_file(path, schema, found) && fine;
      result.files_.push_back(path);
    }
    for (auto& [id, definition] : found)
      result.put(std::move(definition));
  }
  if (!fine) return std::nullopt;
  return result;
}

}  // namespace zelk::check
