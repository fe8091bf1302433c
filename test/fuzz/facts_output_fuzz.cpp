// Outputs of providers of any bytes, read by every form of declaration.

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/facts/declaration.h"
#include "src/common/facts/output_series.h"
#include "src/common/facts/output_text.h"
#include "src/common/facts/value_table.h"
#include "test/fuzz/memory_file.h"

namespace {

using zelk::facts::declaration;
using zelk::facts::extraction;
using zelk::preproc::written_facts;

constexpr std::array formats = {"lines", "equals", "json", "patterns",
                                "nagios"};

written_facts written_in(const std::string& format) {
  written_facts written;
  written.path = "fuzz.xml";
  written.provider = "fuzz";
  written.declared = true;
  written.format = format;
  if (format == "nagios") return written;
  const bool patterns = format == "patterns";
  const auto add = [&](const std::string& name, const std::string& from,
                       const std::string& pattern, const std::string& type,
                       const std::string& several) {
    std::map<std::string, std::string> fact{{"name", name}, {"type", type}};
    if (!patterns) fact["from"] = from;
    if (!pattern.empty()) fact["pattern"] = pattern;
    if (!several.empty()) fact["several"] = several;
    written.facts.push_back({1, fact});
  };
  if (format == "json") {
    add("a", "a", "", "integer", "");
    add("b.{1}.{2}", "b[*].*", "", "text", "last");
    add("c", "c[*].x", "(.)(.*)", "number", "sum");
    add("d", "*", "", "text", "set");
    return written;
  }
  add("a", "/a", "a *([0-9]+) kB", "integer", "");
  add(patterns ? "b.{w}" : "b.{1}.{w}", "/b/([^/]*)/.*", "(?P<w>[a-z]*)=(.*)",
      "text", "set");
  add("c", "c.*", "c(.*)", "number", "sum");
  add("d", "(?s).*", "(?s).*", "text", "count");
  return written;
}

const std::shared_ptr<const declaration>& shared(std::size_t format) {
  static const auto all = [] {
    std::array<std::shared_ptr<const declaration>, formats.size()> made;
    for (std::size_t i = 0; i < formats.size(); ++i) {
      made[i] = declaration::compile(written_in(formats[i]));
      zelk::require(made[i] != nullptr);
    }
    return made;
  }();
  return all[format];
}

const declaration& in(std::size_t format) {
  return *shared(format);
}

void check(const extraction& all) {
  for (std::size_t i = 0; i < all.facts.size(); ++i) {
    zelk::require(zelk::facts::is_utf8(all.facts[i].name));
    zelk::require(
        zelk::facts::is_utf8(zelk::facts::text_of(all.facts[i].value)));
    zelk::require(i == 0 || all.facts[i - 1].name < all.facts[i].name);
  }
  for (const auto& each : all.unread)
    zelk::require(zelk::facts::is_utf8(each.name) &&
                  zelk::facts::is_utf8(each.reason) && !each.reason.empty());
}

// A series that has read all the inputs before says what one that has read none
// says.
class known_outputs {
 public:
  explicit known_outputs(std::size_t format) : format_(format) {}

  void check(std::string_view output, int status, const extraction& alone) {
    constexpr std::size_t many = 10'000;
    if (!series_ || values_.size() > many) renew();
    const auto& read = series_->read(output, status);
    if (read.cut) return series_.reset();
    extraction made{read.what, {}, read.unread};
    for (const auto& each : read.facts)
      made.facts.push_back({series_->name(each),
                            values_.at(each.value, series_->traits(each).type),
                            series_->traits(each)});
    std::sort(made.facts.begin(), made.facts.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    zelk::require(made == alone);
  }

 private:
  void renew() {
    constexpr std::size_t many_names = 20'000;
    values_ = zelk::facts::value_table();
    series_ = std::make_unique<zelk::facts::output_series>(shared(format_),
                                                           values_, many_names);
  }

  std::size_t format_;
  zelk::facts::value_table values_;
  std::unique_ptr<zelk::facts::output_series> series_;
};

known_outputs& known(std::size_t format) {
  static std::vector<known_outputs>& all = *[] {
    auto* const made = new std::vector<known_outputs>;
    for (std::size_t each = 0; each < formats.size(); ++each)
      made->emplace_back(each);
    return made;
  }();
  return all[format];
}

}  // namespace

// The first byte is the exit status, the rest the output.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  if (size == 0) return 0;
  const std::string_view output(reinterpret_cast<const char*>(data) + 1,
                                size - 1);
  for (std::size_t format = 0; format < formats.size(); ++format) {
    const extraction first = in(format).read_output(output, data[0] % 4);
    check(first);
    zelk::require(first == in(format).read_output(output, data[0] % 4));
    known(format).check(output, data[0] % 4, first);
    check(in(format).read_output(output, data[0]));
  }
  return 0;
}
