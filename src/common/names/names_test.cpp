#include "src/common/names/names.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace zelk {
namespace {

// The keys of a table in its own order with their values as numbers.
using rows = std::vector<std::pair<std::string, std::int32_t>>;

template <typename Value>
rows rows_of(const std::map<std::string, Value>& table) {
  rows found;
  for (const auto& [name, value] : table)
    found.emplace_back(name, static_cast<std::int32_t>(value));
  return found;
}

// A copy made while this file's own variables are made, before main().
const std::size_t levels_before_main = log_level_names.size();
const std::string root_before_main = install_root;

TEST(role, has_the_names_of_the_node_file) {
  EXPECT_EQ(role::default_subcluster, "default-subcluster");
  EXPECT_EQ(role::boot, "boot");
  EXPECT_EQ(role::compute, "compute");
  EXPECT_EQ(role::enhanced, "enhanced");
  EXPECT_EQ(role::external, "external");
  EXPECT_EQ(role::head, "head");
  EXPECT_EQ(role::job_schedule, "job_schedule");
  EXPECT_EQ(role::login, "login");
  EXPECT_EQ(role::network_address, "network_address");
  EXPECT_EQ(role::storage, "storage");
}

TEST(encoding_names, gives_every_encoding_its_stored_number) {
  EXPECT_EQ(rows_of(provider::encoding_names),
            (rows{{"base64", 1}, {"none", 0}, {"raw", 2}}));
}

TEST(column_names, follows_the_columns_of_a_stored_result) {
  rows expected = {
      {"rowid", 0},     {"Provider", 1},   {"Hostname", 2},
      {"num_nodes", 3}, {"node_names", 4}, {"Exit_status", 5},
      {"Timestamp", 6}, {"Duration", 7},   {"Encoding", 8},
      {"STDOUT", 9},    {"STDERR", 10},    {"OptionID", 11},
      {"version", 12},  {"Username", 13},  {"Unique_timestamp", 14},
  };
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(rows_of(datastore::column_names), expected);
}

TEST(provider_error_code, is_the_reported_name) {
  EXPECT_EQ(provider_error_code, "provider-error-code");
}

TEST(nodelist_method, has_upper_case_names) {
  EXPECT_EQ(nodelist_method::NONE, "NONE");
  EXPECT_EQ(nodelist_method::ROTATE_RIGHT, "ROTATE_RIGHT");
  EXPECT_EQ(nodelist_method::ROTATE_LEFT, "ROTATE_LEFT");
  EXPECT_EQ(nodelist_method::ROUND_ROBIN, "ROUND_ROBIN");
  EXPECT_EQ(nodelist_method::RANDOM, "RANDOM");
}

TEST(nodelist_method_names, gives_every_method_its_number) {
  EXPECT_EQ(rows_of(nodelist_method_names), (rows{{"none", 0},
                                                  {"random", 4},
                                                  {"rotate_left", 2},
                                                  {"rotate_right", 1},
                                                  {"round_robin", 3}}));
}

TEST(scale_type_names, gives_every_scale_its_number) {
  EXPECT_EQ(
      rows_of(scale_type_names),
      (rows{
          {"constant", 0}, {"linear", 1}, {"logarithmic", 3}, {"squared", 2}}));
}

TEST(log_level_names, gives_every_level_its_syslog_priority) {
  EXPECT_EQ(rows_of(log_level_names), (rows{{"alert", 1},
                                            {"critical", 2},
                                            {"debug", 7},
                                            {"error", 3},
                                            {"info", 6},
                                            {"notice", 5},
                                            {"warning", 4}}));
}

TEST(log_level_names, has_no_name_for_level_zero) {
  for (const auto& [name, level] : log_level_names)
    EXPECT_NE(level, 0) << name;
}

TEST(log_level_names, knows_a_level_in_its_own_case_only) {
  for (const char* name : {"Debug", "WARNING", "warning ", " info", ""})
    EXPECT_EQ(log_level_names.count(name), 0U) << name;
}

TEST(name_tables, keep_ascending_byte_order) {
  // Capitals come before small letters: byte order, not that of a dictionary.
  EXPECT_EQ(datastore::column_names.begin()->first, "Duration");
  EXPECT_EQ(datastore::column_names.rbegin()->first, "version");
}

TEST(name_tables, are_separate_where_they_share_a_key) {
  EXPECT_EQ(provider::encoding_names.at("none"), provider::encoding::NONE);
  EXPECT_EQ(nodelist_method_names.at("none"), nodelist_method_t::NONE);
  EXPECT_FALSE((std::is_same_v<provider::encoding, nodelist_method_t>));
}

TEST(name_tables, have_values_of_32_signed_bits) {
  using std::int32_t;
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<ScaleType>, int32_t>));
  EXPECT_TRUE(
      (std::is_same_v<std::underlying_type_t<provider::encoding>, int32_t>));
  EXPECT_TRUE(
      (std::is_same_v<decltype(log_level_names)::mapped_type, int32_t>));
  EXPECT_TRUE((
      std::is_same_v<decltype(datastore::column_names)::mapped_type, int32_t>));
}

TEST(name_tables, are_complete_before_main) {
  EXPECT_EQ(levels_before_main, 7U);
}

TEST(severity_bands, have_their_bounds_and_values) {
  using postprocessor::severity_bands;
  struct {
    const char* name;
    int lowest, highest, severity;
  } const table[] = {
      {"informational", 0, 24, 0},
      {"warning", 25, 74, 4},
      {"critical", 75, 100, 8},
  };
  ASSERT_EQ(severity_bands.size(), std::size(table));
  for (const auto& row : table) {
    SCOPED_TRACE(row.name);
    const postprocessor::severity_band band = severity_bands.at(row.name);
    EXPECT_EQ(band.lowest, row.lowest);
    EXPECT_EQ(band.highest, row.highest);
    EXPECT_EQ(static_cast<int>(band.severity), row.severity);
  }
}

// Names of the bands that hold `score`.
std::vector<std::string> bands_with(int score) {
  std::vector<std::string> found;
  for (const auto& [name, band] : postprocessor::severity_bands)
    if (band.lowest <= score && score <= band.highest) found.push_back(name);
  return found;
}

TEST(severity_bands, cover_every_score_exactly_once) {
  for (int score = 0; score <= 100; ++score)
    EXPECT_EQ(bands_with(score).size(), 1U) << score;
  EXPECT_TRUE(bands_with(-1).empty());
  EXPECT_TRUE(bands_with(101).empty());
}

TEST(severity_bands, change_at_25_and_75) {
  EXPECT_EQ(bands_with(24), std::vector<std::string>{"informational"});
  EXPECT_EQ(bands_with(25), std::vector<std::string>{"warning"});
  EXPECT_EQ(bands_with(74), std::vector<std::string>{"warning"});
  EXPECT_EQ(bands_with(75), std::vector<std::string>{"critical"});
}

TEST(precheck, has_the_states_that_a_node_prints) {
  EXPECT_EQ(precheck::ZELK_PRECHECK_OK, "ZELK_PRECHECK_OK");
  EXPECT_EQ(precheck::ZELK_PRECHECK_ND, "ZELK_PRECHECK_ND");
  EXPECT_EQ(precheck::ZELK_PRECHECK_NON_RW, "ZELK_PRECHECK_NON_RW");
}

TEST(install_root, is_empty_until_main_sets_it) {
  EXPECT_EQ(root_before_main, "");
}

}  // namespace
}  // namespace zelk
