#include "src/check/judgement.h"

#include <algorithm>

#include "src/common/names/names.h"

namespace zelk::check {

const char* name_of(answer what) {
  switch (what) {
    case answer::ok:
      return "ok";
    case answer::not_applicable:
      return "not-applicable";
    case answer::tool_missing:
      return "tool-missing";
    case answer::no_permission:
      return "no-permission";
    case answer::incomplete:
      return "incomplete";
    case answer::failed:
      return "failed";
    case answer::timed_out:
      return "timeout";
    case answer::missing:
      return "no-answer";
    case answer::not_expected:
      return "not-expected";
  }
  return "";
}

const char* name_of(cell_state state) {
  switch (state) {
    case cell_state::ok:
      return "ok";
    case cell_state::info:
      return "info";
    case cell_state::warn:
      return "warn";
    case cell_state::crit:
      return "crit";
    case cell_state::error:
      return "error";
    case cell_state::timeout:
      return "timeout";
    case cell_state::no_data:
      return "no-data";
    case cell_state::not_applicable:
      return "n/a";
    case cell_state::stale:
      return "stale";
    case cell_state::accepted:
      return "accepted";
  }
  return "";
}

const char* name_of(verdict what) {
  switch (what) {
    case verdict::healthy:
      return "healthy";
    case verdict::suspect:
      return "suspect";
    case verdict::unhealthy:
      return "unhealthy";
    case verdict::unknown:
      return "unknown";
  }
  return "";
}

const char* name_of(severity level) {
  switch (level) {
    case severity::informational:
      return "informational";
    case severity::warning:
      return "warning";
    case severity::critical:
      return "critical";
  }
  return "";
}

const char* name_of(finding_state state) {
  switch (state) {
    case finding_state::fresh:
      return "new";
    case finding_state::unchanged:
      return "unchanged";
    case finding_state::changed:
      return "changed";
    case finding_state::fixed:
      return "fixed";
  }
  return "";
}

bool fits_a_command(std::string_view name) {
  constexpr std::size_t longest = 255;  // bytes, of a node's name
  const auto is_harmless = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
  };
  return !name.empty() && name.front() != '-' && name.front() != '.' &&
         name.size() <= longest &&
         std::all_of(name.begin(), name.end(), is_harmless);
}

names_apart apart(const std::vector<std::string>& names) {
  names_apart result;
  for (const std::string& name : names)
    (fits_a_command(name) ? result.fit : result.odd).push_back(name);
  return result;
}

verdict overall_of(const judgement& of) {
  if (of.counts.unhealthy > 0) return verdict::unhealthy;
  if (of.counts.suspect > 0) return verdict::suspect;
  const bool is_warned = std::any_of(
      of.findings.begin(), of.findings.end(), [](const finding& each) {
        return each.blames_nobody && each.level != severity::informational;
      });
  if (is_warned) return verdict::suspect;
  return of.counts.unknown > 0 || of.counts.healthy == 0 ? verdict::unknown
                                                         : verdict::healthy;
}

severity severity_of(int score) {
  for (const auto& [name, band] : postprocessor::severity_bands) {
    if (score < band.lowest || score > band.highest) continue;
    if (band.severity == postprocessor::Severity::CRITICAL)
      return severity::critical;
    if (band.severity == postprocessor::Severity::WARNING)
      return severity::warning;
  }
  return severity::informational;
}

}  // namespace zelk::check
