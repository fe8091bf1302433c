#include "src/collect/src/provider/result.h"

#include <limits>

#include <gtest/gtest.h>

#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::bytes_of;
using testing::example_record;
using testing::lines;

TEST(provider_result, starts_with_every_byte_zero) {
  EXPECT_EQ(bytes_of(provider_result().header), std::string(736, '\0'));
}

TEST(provider_result, has_the_image_that_the_format_lays_down) {
  EXPECT_EQ(bytes_of(example_record().header), testing::example_header_image());
}

TEST(set_option_id, leaves_the_rest_of_the_field_zero) {
  provider_result record;
  set_option_id(record, "a much longer identifier");
  set_option_id(record, "quick");
  EXPECT_EQ(bytes_of(record.header.option_id), "quick" + std::string(55, '\0'));
}

TEST(set_option_id, cuts_after_fifty_nine_bytes) {
  for (const std::size_t length : {59u, 60u, 61u, 500u}) {
    SCOPED_TRACE(length);
    provider_result record;
    record.header.version = 42;
    set_option_id(record, std::string(length, 'o'));
    EXPECT_EQ(bytes_of(record.header.option_id),
              std::string(59, 'o') + std::string(1, '\0'));
    EXPECT_EQ(record.header.version, 42);
  }
}

TEST(field_text, ends_at_the_zero_byte_or_with_the_field) {
  const char open[4] = {'a', 'b', 'c', 'd'};
  const char closed[4] = {'a', '\0', 'c', 'd'};
  EXPECT_EQ(field_text(open), "abcd");
  EXPECT_EQ(field_text(closed), "a");
}

TEST(result_summary, has_thirteen_parts) {
  EXPECT_EQ(result_summary(example_record()),
            "Name: memory\n"
            "Hostname: node07\n"
            "Duration: 1.25\n"
            "Timestamp: 1489412345.005000\n"
            "Exit status: 3\n"
            "Encoding: 2\n"
            "API: \x01\n"
            "OptionID: quick\n"
            "version: -7\n"
            "User name: operator\n"
            "stdout (15 bytes): \n" +
                testing::example_stdout +
                "\n"
                "stderr (5 bytes): \n"
                "oops\n"
                "\n"
                "nodes (2 nodes, 11 bytes): alpha, beta\n");
}

TEST(result_summary, of_an_empty_record_has_all_labels) {
  EXPECT_EQ(result_summary(provider_result()),
            "Name: \n"
            "Hostname: \n"
            "Duration: 0\n"
            "Timestamp: 0.000000\n"
            "Exit status: 0\n"
            "Encoding: 0\n"
            "API: " +
                std::string(1, '\0') +
                "\n"
                "OptionID: \n"
                "version: 0\n"
                "User name: \n"
                "stdout (0 bytes): \n"
                "\n"
                "stderr (0 bytes): \n"
                "\n"
                "nodes (0 nodes, 0 bytes): \n");
}

TEST(result_summary, writes_six_significant_digits_of_the_duration) {
  provider_result record;
  record.header.duration = 12345.6789;
  EXPECT_NE(result_summary(record).find("Duration: 12345.7\n"),
            std::string::npos);
}

// The field before has no zero byte of its own and must not run into the next.
TEST(result_summary, ends_a_full_text_field_where_it_ends) {
  provider_result record = example_record();
  std::memset(record.header.hostname, 'h', sizeof(record.header.hostname));
  EXPECT_NE(result_summary(record).find("Hostname: " + std::string(255, 'h') +
                                        "\nDuration: "),
            std::string::npos);
}

TEST(sizes_fit_blocks, accepts_sizes_up_to_the_blocks) {
  const log::captured_log log;
  provider_result record = example_record();
  EXPECT_TRUE(sizes_fit_blocks(record));
  record.header.stdout_size = 0;
  EXPECT_TRUE(sizes_fit_blocks(record));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(sizes_fit_blocks, refuses_each_size_beyond_its_block) {
  using size_field = std::int64_t provider_result_header::*;
  for (const size_field field : {&provider_result_header::stdout_size,
                                 &provider_result_header::stderr_size,
                                 &provider_result_header::nodes_csv_size}) {
    const std::int64_t right = example_record().header.*field;
    for (const std::int64_t wrong :
         {right + 1, std::int64_t{-1}, std::numeric_limits<std::int64_t>::max(),
          std::numeric_limits<std::int64_t>::min()}) {
      SCOPED_TRACE(wrong);
      const log::captured_log log;
      provider_result record = example_record();
      record.header.*field = wrong;
      EXPECT_FALSE(sizes_fit_blocks(record));
      EXPECT_EQ(log.lines(), lines{"The sizes in the result of data provider "
                                   "'memory' do not fit its output"});
    }
  }
}

TEST(api_fault, is_empty_for_version_one_alone) {
  provider_result_header header = {};
  EXPECT_EQ(api_fault(header), "version 0 instead of 1");
  header.api = 1;
  EXPECT_EQ(api_fault(header), "");
  header.api = 255;
  EXPECT_EQ(api_fault(header), "version 255 instead of 1");
}

}  // namespace
}  // namespace zelk
