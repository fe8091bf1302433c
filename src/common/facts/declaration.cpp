#include "src/common/facts/declaration.h"

#include <optional>

#include "src/common/facts/compiled.h"
#include "src/common/facts/extractors.h"
#include "src/common/facts/gathered.h"

namespace zelk::facts {

namespace {

// The statuses of a provider, see doc/providers.md.
enum provider_status {
  done = 0,
  not_applicable = 80,
  tool_missing = 81,
  no_permission = 82,
  incomplete = 83,
};

constexpr int timed_out = 124;
constexpr int no_status = 125;
constexpr int by_signal = 128;

std::string words_for_status(int status) {
  if (status == timed_out) return "the command was stopped by its time-out";
  if (status == no_status) return "how the command ended is not known";
  if (status > by_signal)
    return "the command was ended by signal " +
           std::to_string(status - by_signal);
  return "the command ended with status " + std::to_string(status);
}

extraction without_facts(outcome what) {
  extraction result;
  result.what = what;
  return result;
}

extraction failed(const std::string& reason) {
  extraction result = without_facts(outcome::failed);
  result.unread.push_back({whole_output, reason});
  return result;
}

// What the status alone decides, for every form of output.
std::optional<extraction> decided_by(const compiled_facts& all, int status) {
  constexpr int worst_plugin_state = 3;
  switch (status) {
    case not_applicable:
      return without_facts(outcome::not_applicable);
    case tool_missing:
    case no_permission:
      return without_facts(outcome::not_measured);
    case done:
    case incomplete:
      return std::nullopt;
    default:
      break;
  }
  if (all.format == output_format::nagios && status > 0 &&
      status <= worst_plugin_state)
    return std::nullopt;
  return failed(words_for_status(status));
}

void read_by_format(const compiled_facts& all, std::string_view output,
                    gathered& to) {
  switch (all.format) {
    case output_format::lines:
    case output_format::equals:
      return read_lines(all, output, to);
    case output_format::patterns:
      return read_patterns(all, output, to);
    case output_format::json:
      return read_json(all, output, to);
    case output_format::nagios:
      return;
  }
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
  if (!all_->declared) return {};
  if (auto decided = decided_by(*all_, exit_status)) return std::move(*decided);
  if (all_->format == output_format::nagios)
    return exit_status == incomplete
               ? failed(words_for_status(exit_status))
               : read_plugin(all_->provider, output, exit_status);
  gathered values(*all_);
  read_by_format(*all_, output, values);
  return values.finish(exit_status == incomplete
                           ? "the output is incomplete (exit status 83)"
                           : "");
}

}  // namespace zelk::facts
