#include "src/collect/src/delivery.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <czmq.h>
#include <gtest/gtest.h>

#include "src/collect/src/provider/message.h"
#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"
#include "src/common/preproc/config.h"
#include "src/common/str/str.h"

namespace zelk {
namespace {

using testing::lines;
using testing::scratch_directory;

void set_output_directory(Config& config, const std::string& path) {
  path.copy(config.output_directory, sizeof config.output_directory - 1);
}

// The library's handler would replace the worker's, which ends providers.
TEST(set_up_messaging, leaves_the_handlers_of_signals_alone) {
  const auto handler = [](int) {};
  std::signal(SIGINT, handler);
  std::signal(SIGTERM, handler);
  set_up_messaging(0);
  zsock_t* socket = zsock_new(ZMQ_PUSH);
  zsock_destroy(&socket);
  EXPECT_EQ(std::signal(SIGINT, SIG_DFL), +handler);
  EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), +handler);
}

// 2,147,483,648 ms and 4,294,967,290 ms in 32 bits.
TEST(set_up_messaging, takes_any_time_that_the_environment_may_ask_for) {
  for (const int linger : {std::numeric_limits<int>::min(), -6}) {
    set_up_messaging(linger);
    zsock_t* socket = zsock_new(ZMQ_PUSH);
    ASSERT_NE(socket, nullptr);
    EXPECT_EQ(zsock_linger(socket), -1);
    zsock_destroy(&socket);
  }
  set_up_messaging(0);
}

TEST(delivery, refuses_an_empty_endpoint) {
  log::captured_log log;
  EXPECT_EQ(delivery::open({}, {}), nullptr);
  EXPECT_EQ(log.lines(), lines{"The accumulate server endpoint is unknown."});
}

TEST(delivery, refuses_an_endpoint_that_does_not_parse) {
  for (const char* endpoint :
       {"nonsense", "tcp://", "tcp://host", "%s%n", "tcp://127.0.0.1:0",
        "tcp://127.0.0.1:99999", "tcp://127.0.0.1:99999999999999999999",
        "tcp://127.0.0.1:12ab", "tcp://:80",
        "tcp://127.0.0.1:", "inproc://here"}) {
    SCOPED_TRACE(endpoint);
    log::captured_log log;
    run_options options;
    options.endpoint = endpoint;
    EXPECT_EQ(delivery::open(options, {}), nullptr);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0], "Data will be sent to " + options.endpoint);
    EXPECT_EQ(
        log.lines()[1].find("Unable to connect to the accumulate server ("),
        0U);
  }
}

TEST(delivery, refuses_a_directory_it_may_not_write_into) {
  log::captured_log log;
  run_options options;
  options.async_mode = true;
  Config config;
  set_output_directory(config, "/nowhere");
  EXPECT_EQ(delivery::open(options, config), nullptr);
  EXPECT_EQ(log.lines(),
            lines{"Unable to access output directory /nowhere. This directory "
                  "needs to be created with global write permissions prior to "
                  "executing zelk-collect in asynchronous mode. Please see the "
                  "BREVIX README for more information"});
}

TEST(delivery, writes_a_file_named_after_the_description) {
  const scratch_directory scratch;
  run_options options;
  options.async_mode = true;  // an empty endpoint is no error here
  Config config;
  set_output_directory(config, scratch.path());
  const auto target = delivery::open(options, config);
  ASSERT_NE(target, nullptr);
  ASSERT_TRUE(target->deliver({}, "/etc/p/memory.xml"));

  const std::filesystem::directory_iterator files(scratch.path());
  const std::string name = files->path().filename().string();
  EXPECT_EQ(name.find("ZELK_MEMORY_"), 0U) << name;
  EXPECT_EQ(name.substr(name.size() - 8, 2), "__") << name;
  EXPECT_EQ(files->file_size(), 736U);
}

TEST(delivery, reports_a_directory_that_has_vanished) {
  log::captured_log log;
  run_options options;
  options.async_mode = true;
  Config config;
  std::string gone;
  std::unique_ptr<delivery> target;
  {
    const scratch_directory scratch;
    gone = scratch.path();
    set_output_directory(config, gone);
    target = delivery::open(options, config);
    ASSERT_NE(target, nullptr);
  }
  EXPECT_FALSE(target->deliver({}, "m.xml"));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].find("Error creating output file '" + gone), 0U);
  EXPECT_NE(log.lines()[0].find("__XXXXXX' (2): No such file or directory"),
            std::string::npos);
}

// Closed at once: what is not sent by then must be waited for.
TEST(delivery, sends_to_a_bound_socket) {
  set_up_messaging(-1);
  zsock_t* server = zsock_new(ZMQ_PULL);
  ASSERT_NE(zsock_bind(server, "tcp://127.0.0.1:*"), -1);
  zsock_set_rcvtimeo(server, 20'000);
  run_options options;
  options.endpoint = zsock_endpoint(server);
  {
    const auto target = delivery::open(options, {});
    ASSERT_NE(target, nullptr);
    provider_result record;
    record.header.api = 1;
    set_option_id(record, "quick");
    EXPECT_TRUE(target->deliver(record, "m.xml"));
  }
  provider_result received;
  EXPECT_TRUE(receive_provider_result(received, server));
  EXPECT_EQ(field_text(received.header.option_id), "quick");
  zsock_destroy(&server);
}

}  // namespace
}  // namespace zelk
