#include "src/collect/src/db/archive_json.h"

#include <fmt/format.h>

#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/run_json.h"

namespace zelk::db {

namespace {

// A value within another one within another one is deeper than anything here.
constexpr int deepest = 3;

json parse(std::string_view text) {
  bool deep = false;
  const auto watch = [&](int depth, json::parse_event_t /*event*/,
                         json& /*value*/) {
    deep = deep || depth > deepest;
    return !deep;
  };
  json value = json::parse(text, watch, false);
  if (deep) throw archive_error("it is nested too deeply");
  if (value.is_discarded()) throw archive_error("it is not JSON");
  return value;
}

// Runs `read` with what it throws as what is thrown here.
template <typename Read>
auto understood(const Read& read) {
  try {
    return read();
  } catch (const archive_error&) {
    throw;
  } catch (const std::exception& error) {
    throw archive_error(error.what());
  }
}

std::int64_t count(const json& value, const char* key, std::int64_t most) {
  const auto found = value.is_object() ? value.find(key) : value.end();
  if (!value.is_object() || found == value.end() ||
      !found->is_number_unsigned() ||
      found->get<std::uint64_t>() > static_cast<std::uint64_t>(most))
    throw archive_error(
        fmt::format("'{}' is not a number from 0 to {}", key, most));
  return found->get<std::int64_t>();
}

}  // namespace

std::string head_text(std::int64_t runs) {
  return one_line({{"format", archive_format},
                   {"version", archive_version},
                   {"runs", runs}}) +
         "\n";
}

std::int64_t runs_of_head(std::string_view text) {
  return understood([&] {
    const json value = parse(text);
    if (!value.is_object() || value.value("format", json()) != archive_format)
      throw archive_error("it is not an export of zelk-db");
    const std::int64_t version = count(value, "version", INT32_MAX);
    if (version != archive_version)
      throw archive_error(
          fmt::format("it has version {}, this program reads version {}; a "
                      "newer Zelkara is needed for it",
                      version, archive_version));
    return count(value, "runs", most_runs);
  });
}

std::string run_text(const archived_run& run) {
  json value = json_of_run(run.run);
  value["expectations"] = run.expectations;
  value["records"] = run.records;
  return one_line(value) + "\n";
}

archived_run run_of_text(std::string_view text) {
  return understood([&] {
    const json value = parse(text);
    archived_run found;
    found.run = run_of_json(value);
    if (found.run.state == accumulate::run_state::running)
      throw archive_error("a run that is still running cannot be taken in");
    found.expectations = count(value, "expectations", most_records);
    found.records = count(value, "records", most_records);
    return found;
  });
}

std::string expectation_text(const accumulate::missing_result& expected) {
  json value = {{"node", json_of_bytes(expected.what.node)}};
  if (!expected.what.provider.empty())
    value["provider"] = json_of_bytes(expected.what.provider);
  if (!expected.what.option_id.empty())
    value["option_id"] = json_of_bytes(expected.what.option_id);
  if (!expected.reason.empty())
    value["reason"] = json_of_bytes(expected.reason);
  return one_line(value) + "\n";
}

accumulate::missing_result expectation_of_text(std::string_view line) {
  return understood([&] {
    const json value = parse(line);
    if (!value.is_object()) throw archive_error("expected an object");
    const auto text = [&](const char* key) {
      const auto found = value.find(key);
      return found == value.end() ? std::string() : bytes_of_json(*found);
    };
    accumulate::missing_result expected{
        {text("node"), text("provider"), text("option_id")}, text("reason")};
    if (expected.what.node.empty()) throw archive_error("a node has no name");
    return expected;
  });
}

std::string sum_line(const accumulate::digest& sum, const std::string& name) {
  std::string line;
  for (const unsigned char byte : sum)
    line += fmt::format("{:02x}", byte);
  return line + "  " + name + "\n";
}

}  // namespace zelk::db
