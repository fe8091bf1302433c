#include "src/collect/src/provider/identity.h"

#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "src/collect/src/provider/failing_libc.h"
#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::bytes_of;
using testing::libc_faults;
using testing::lines;

std::string padded(std::string text, std::size_t size) {
  text.resize(size, '\0');
  return text;
}

TEST(set_record_text, copies_the_text) {
  provider_result record;
  set_record_text(record, "node07");
  EXPECT_EQ(bytes_of(record.header.host_arg), padded("node07", 255));
}

TEST(set_record_text, leaves_the_field_zero_without_a_text) {
  provider_result record;
  set_record_text(record, "");
  EXPECT_EQ(bytes_of(record.header.host_arg), padded("", 255));
}

TEST(set_record_text, fills_the_field_to_the_last_byte_and_no_further) {
  for (const std::size_t length : {255u, 256u, 300u}) {
    SCOPED_TRACE(length);
    provider_result record;
    set_record_text(record, std::string(length, 'h'));
    EXPECT_EQ(bytes_of(record.header.host_arg), std::string(255, 'h'));
    EXPECT_EQ(bytes_of(record.header.username), padded("", 10));
  }
}

TEST(set_hostname, stores_what_the_system_says) {
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof(name)), 0);
  const log::captured_log log;
  provider_result record;
  set_hostname(record);
  EXPECT_EQ(bytes_of(record.header.hostname), padded(name, 255));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(set_hostname, leaves_a_name_of_the_whole_field_without_a_terminator) {
  libc_faults faults;
  faults.host_name = std::string(255, 'h');
  provider_result record;
  set_hostname(record);
  EXPECT_EQ(bytes_of(record.header.hostname), std::string(255, 'h'));
  EXPECT_EQ(bytes_of(record.header.host_arg), padded("", 255));
}

TEST(set_hostname, leaves_the_field_zero_when_the_system_fails) {
  libc_faults faults;
  faults.gethostname_error = ENAMETOOLONG;
  const log::captured_log log(log::level_error);
  provider_result record;
  set_hostname(record);
  EXPECT_EQ(bytes_of(record.header.hostname), padded("", 255));
  EXPECT_EQ(log.lines(),
            lines{"Unable to get hostname (36): File name too long"});
}

TEST(set_username, records_a_name_of_eight_bytes_in_full) {
  libc_faults faults;
  faults.login_name = "operator";
  const log::captured_log log;
  provider_result record;
  set_username(record);
  EXPECT_EQ(bytes_of(record.header.username), padded("operator", 10));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(set_username, records_a_longer_name_as_unknown) {
  for (const char* name : {"operators", "a_service_account"}) {
    SCOPED_TRACE(name);
    libc_faults faults;
    faults.login_name = name;
    const log::captured_log log;
    provider_result record;
    set_username(record);
    EXPECT_EQ(bytes_of(record.header.username), padded("Unknown", 10));
    EXPECT_EQ(log.lines(),
              lines{"Username set as 'Unknown' after getlogin_r failed with "
                    "error code: 34"});
  }
}

// A batch system or a daemon starts the worker without one. The code in the
// line is the function's result, not errno.
TEST(set_username, is_unknown_without_a_terminal) {
  libc_faults faults;
  faults.getlogin_r_error = ENOTTY;
  errno = EPERM;
  const log::captured_log log;
  provider_result record;
  set_username(record);
  EXPECT_EQ(bytes_of(record.header.username), padded("Unknown", 10));
  EXPECT_EQ(log.lines(),
            lines{"Username set as 'Unknown' after getlogin_r failed with "
                  "error code: 25"});
}

TEST(set_username, says_nothing_below_level_debug) {
  libc_faults faults;
  faults.getlogin_r_error = ENXIO;
  const log::captured_log log(log::level_info);
  provider_result record;
  set_username(record);
  EXPECT_EQ(log.lines(), lines{});
}

// Whatever the machine that runs the tests answers.
TEST(set_username, never_leaves_the_field_empty) {
  provider_result record;
  set_username(record);
  EXPECT_NE(field_text(record.header.username), "");
  EXPECT_EQ(record.header.username[9], '\0');
}

}  // namespace
}  // namespace zelk
