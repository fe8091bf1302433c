#include "src/common/facts/declaration.h"

#include <algorithm>

#include "src/common/facts/compiled.h"
#include "src/common/facts/form_reader.h"
#include "src/common/facts/value_table.h"

namespace zelk::facts {

namespace {

// Of an output that is read alone: those of gathered.h come first.
constexpr std::size_t no_limit = std::size_t{1} << 30;

bool by_name(const fact& a, const fact& b) {
  return a.name < b.name;
}

}  // namespace

declaration::declaration(std::unique_ptr<const compiled_facts> all)
    : all_(std::move(all)) {}

declaration::~declaration() = default;

std::shared_ptr<const declaration> declaration::compile(
    const preproc::written_facts& written) {
  auto all = facts::compile(written);
  if (!all) return nullptr;
  return std::shared_ptr<const declaration>(new declaration(std::move(all)));
}

std::shared_ptr<const declaration> declaration::read(
    const std::string& path, const std::string& schema) {
  const auto written = preproc::read_written_facts(path, schema);
  return written ? compile(*written) : nullptr;
}

const std::string& declaration::path() const {
  return all_->path;
}

const std::string& declaration::provider() const {
  return all_->provider;
}

std::int32_t declaration::version() const {
  return all_->version;
}

const std::string& declaration::description() const {
  return all_->description;
}

bool declaration::declares() const {
  return all_->declared;
}

extraction declaration::read_output(std::string_view output,
                                    int exit_status) const {
  value_table values;
  form_reader reader(*all_, values, no_limit, false);
  const numbered_extraction& read = reader.read(output, exit_status);
  extraction result;
  result.what = read.what;
  result.unread = read.unread;
  result.facts.reserve(read.facts.size());
  for (const numbered_fact& each : read.facts)
    result.facts.push_back({reader.name(each),
                            values.at(each.value, reader.traits(each).type),
                            reader.traits(each)});
  std::sort(result.facts.begin(), result.facts.end(), by_name);
  return result;
}

}  // namespace zelk::facts
