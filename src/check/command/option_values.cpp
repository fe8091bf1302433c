#include "src/check/command/option_values.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

#include "src/common/str/nearest_word.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"

namespace zelk::check {

namespace {

constexpr char page_form[] = "html";
constexpr char figure_form[] = "svg";

template <typename Number>
std::optional<Number> parsed(std::string_view text) {
  Number value = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || behind != end) return {};
  return value;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : " ") + word;
  return text;
}

std::vector<std::string> form_words() {
  std::vector<std::string> words = report_form_words();
  words.emplace_back(page_form);
  words.emplace_back(figure_form);
  return words;
}

bool ends_in(const std::string& path, const std::string& ending) {
  return path.size() >= ending.size() &&
         std::equal(ending.rbegin(), ending.rend(), path.rbegin(),
                    [](char a, char b) {
                      return a == std::tolower(static_cast<unsigned char>(b));
                    });
}

}  // namespace

void refuse_value(const std::string& option, const std::string& expected,
                  const std::string& found) {
  throw usage_mistake(option + ": expected " + expected + "; found '" + found +
                      "'");
}

double number_value(const std::string& option, const std::string& text,
                    double least) {
  const auto value = parsed<double>(text);
  if (!value || !std::isfinite(*value) || *value < least)
    refuse_value(
        option,
        least > 0 ? "a number greater than 0" : "a number of at least 0", text);
  return *value;
}

std::size_t count_value(const std::string& option, const std::string& text,
                        std::size_t least) {
  const auto value = parsed<std::size_t>(text);
  if (!value || *value < least)
    refuse_value(option, "a whole number of at least " + std::to_string(least),
                 text);
  return *value;
}

std::size_t size_value(const std::string& option, const std::string& text) {
  const std::optional<std::int64_t> bytes = text::size_bytes(text);
  if (!bytes) refuse_value(option, "a size such as 512K or 5M", text);
  return static_cast<std::size_t>(*bytes);
}

std::int64_t duration_value(const std::string& option,
                            const std::string& text) {
  const std::optional<std::int64_t> value = text::duration_usec(text);
  if (!value) refuse_value(option, "a duration such as 12h, 7d or 2w", text);
  return *value;
}

severity severity_value(const std::string& option, const std::string& text) {
  const std::vector<severity> all = {severity::informational, severity::warning,
                                     severity::critical};
  std::vector<std::string> known;
  for (const severity each : all) {
    if (text == name_of(each)) return each;
    known.emplace_back(name_of(each));
  }
  check_one_of(option, text, known);
  return severity::informational;
}

void check_one_of(const std::string& option, const std::string& text,
                  const std::vector<std::string>& known) {
  if (std::find(known.begin(), known.end(), text) != known.end()) return;
  throw usage_mistake(option + ": expected one of " + joined(known) +
                      "; found '" + text + "'" +
                      str::did_you_mean(text, known));
}

output_form form_value(const std::string& option, const std::string& text) {
  check_one_of(option, text, form_words());
  if (text == page_form) return {document::page, report_form::text};
  if (text == figure_form) return {document::figure, report_form::text};
  return {document::report, *read_report_form(text)};
}

output_form form_of_file(const std::string& option, const std::string& path) {
  if (ends_in(path, ".html") || ends_in(path, ".htm"))
    return {document::page, report_form::text};
  if (ends_in(path, ".svg")) return {document::figure, report_form::text};
  if (const std::optional<report_form> form = report_form_of_file(path))
    return {document::report, *form};
  refuse_value(option,
               "a file that ends in .html .svg .txt .json .jsonl .csv .tsv "
               ".xml .sarif .prom or .md, or --format",
               path);
}

}  // namespace zelk::check
