#include "src/collect/src/utils/host_address.h"

#include <netdb.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using lines = std::vector<std::string>;

TEST(resolve_host_address, gives_the_address_of_a_name) {
  const log::captured_log log;
  EXPECT_EQ(resolve_host_address("localhost"), "127.0.0.1");
  EXPECT_EQ(log.lines(), lines{});
}

TEST(resolve_host_address, writes_any_form_of_an_address_in_dotted_decimal) {
  EXPECT_EQ(resolve_host_address("10.77.0.2"), "10.77.0.2");
  EXPECT_EQ(resolve_host_address("127.1"), "127.0.0.1");
}

// A node's name is asked for by number: its reverse entry may name another.
TEST(resolve_host_address, never_gives_a_name) {
  EXPECT_EQ(resolve_host_address("127.0.0.1"), "127.0.0.1");
}

TEST(resolve_host_address, refuses_no_host) {
  const log::captured_log log(log::level_error);
  EXPECT_EQ(resolve_host_address(nullptr), "");
  EXPECT_EQ(log.lines(), lines{"Error getting address information: Host name "
                               "is not resolvable."});
}

TEST(resolve_host_address, tells_the_code_and_its_text) {
  // A label of more than 63 characters is looked up nowhere.
  const std::string host(64, 'x');
  const log::captured_log log(log::level_error);
  EXPECT_EQ(resolve_host_address(host.c_str()), "");
  ASSERT_EQ(log.lines().size(), 1U);
  const std::string line = log.lines()[0];
  const std::string opening =
      "Error getting address information for " + host + " (";
  ASSERT_EQ(line.substr(0, opening.size()), opening);
  const int code = std::stoi(line.substr(opening.size()));
  EXPECT_NE(code, 0);
  EXPECT_EQ(line, opening + std::to_string(code) + "): " + gai_strerror(code));
}

TEST(resolve_host_address, asks_for_ipv4_only) {
  for (const char* host : {"::1", "fe80::1", "2001:db8::1"}) {
    SCOPED_TRACE(host);
    const log::captured_log log(log::level_error);
    EXPECT_EQ(resolve_host_address(host), "");
    const std::string code = std::to_string(EAI_ADDRFAMILY);
    EXPECT_EQ(log.lines(), lines{"Error getting address information for " +
                                 std::string(host) + " (" + code +
                                 "): " + gai_strerror(EAI_ADDRFAMILY)});
  }
}

TEST(resolve_host_address, fails_for_an_empty_name_as_for_an_unknown_one) {
  const log::captured_log log(log::level_error);
  EXPECT_EQ(resolve_host_address(""), "");
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].find("Error getting address information for  ("),
            0U);
}

}  // namespace
}  // namespace zelk
