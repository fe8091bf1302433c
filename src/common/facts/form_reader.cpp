#include "src/common/facts/form_reader.h"

#include <algorithm>
#include <utility>

#include "src/common/facts/extractors.h"

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

}  // namespace

form_reader::form_reader(const compiled_facts& all, value_table& values,
                         std::size_t name_limit, bool remembers)
    : all_(all),
      values_(values),
      gathered_(all, values, name_limit),
      lines_(all, gathered_, remembers),
      plugin_names_(name_limit) {}

const std::string& form_reader::name(const numbered_fact& of) const {
  return all_.format == output_format::nagios ? plugin_names_[of.name]
                                              : gathered_.names()[of.name];
}

const fact_traits& form_reader::traits(const numbered_fact& of) const {
  return all_.format == output_format::nagios ? plugin_traits_[of.traits]
                                              : all_.facts[of.traits].traits;
}

// Whether the status alone decides what there is, for every form of output.
bool form_reader::decided_by(int status) {
  constexpr int worst_plugin_state = 3;
  const bool is_plugin = all_.format == output_format::nagios;
  switch (status) {
    case not_applicable:
      decided_.what = outcome::not_applicable;
      return true;
    case tool_missing:
    case no_permission:
      decided_.what = outcome::not_measured;
      return true;
    case done:
      return false;
    case incomplete:
      if (!is_plugin) return false;
      break;
    default:
      if (is_plugin && status > 0 && status <= worst_plugin_state) return false;
  }
  decided_.what = outcome::failed;
  decided_.unread.push_back({whole_output, words_for_status(status)});
  return true;
}

// A plugin says itself what its figures are.
std::uint32_t form_reader::number_of(const fact_traits& traits) {
  const auto known =
      std::find(plugin_traits_.begin(), plugin_traits_.end(), traits);
  const auto number =
      static_cast<std::uint32_t>(known - plugin_traits_.begin());
  if (known == plugin_traits_.end()) plugin_traits_.push_back(traits);
  return number;
}

void form_reader::read_as_plugin(std::string_view output, int exit_status) {
  extraction read = read_plugin(all_.provider, output, exit_status);
  decided_.unread = std::move(read.unread);
  for (const fact& each : read.facts) {
    const std::uint32_t name = plugin_names_.number_of(each.name);
    const std::uint32_t value = values_.index_of(each.value);
    if (name == no_index || value == no_index)
      decided_.cut = true;
    else
      decided_.facts.push_back({name, value, number_of(each.traits)});
  }
}

const numbered_extraction& form_reader::read(std::string_view output,
                                             int exit_status) {
  decided_ = {};
  if (!all_.declared || decided_by(exit_status)) return decided_;
  if (all_.format == output_format::nagios) {
    read_as_plugin(output, exit_status);
    return decided_;
  }
  gathered_.begin();
  if (all_.format == output_format::json)
    read_json(all_, output, gathered_);
  else
    lines_.read(output);
  return gathered_.finish(exit_status == incomplete
                              ? "the output is incomplete (exit status 83)"
                              : "");
}

}  // namespace zelk::facts
