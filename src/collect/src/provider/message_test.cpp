#include "src/collect/src/provider/message.h"

#include <limits>
#include <memory>

#include <czmq.h>
#include <gtest/gtest.h>

#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::example_header_image;
using testing::example_nodes;
using testing::example_record;
using testing::example_stderr;
using testing::example_stdout;
using testing::lines;

struct closer {
  void operator()(zsock_t* socket) const { zsock_destroy(&socket); }
  void operator()(zmsg_t* message) const { zmsg_destroy(&message); }
};
using unique_socket = std::unique_ptr<zsock_t, closer>;
using unique_message = std::unique_ptr<zmsg_t, closer>;

// A PUSH socket connected to a PULL socket over the loopback interface.
struct connection {
  unique_socket pull{zsock_new(ZMQ_PULL)};
  unique_socket push{zsock_new(ZMQ_PUSH)};

  connection() {
    zsock_set_rcvtimeo(pull.get(), 10000);  // ms
    const int port = zsock_bind(pull.get(), "tcp://127.0.0.1:*");
    zsock_connect(push.get(), "tcp://127.0.0.1:%d", port);
  }
};

unique_message message_of(const lines& frames) {
  unique_message message(zmsg_new());
  for (const std::string& frame : frames)
    zmsg_addmem(message.get(), frame.data(), frame.size());
  return message;
}

lines example_frames() {
  return {example_header_image(), example_stdout, example_stderr,
          example_nodes};
}

lines frames_of(unique_message message) {
  lines frames;
  for (zframe_t* frame = zmsg_first(message.get()); frame != nullptr;
       frame = zmsg_next(message.get())) {
    frames.emplace_back(reinterpret_cast<const char*>(zframe_data(frame)),
                        zframe_size(frame));
  }
  return frames;
}

void send(const connection& link, const lines& frames) {
  zmsg_t* message = message_of(frames).release();
  ASSERT_EQ(zmsg_send(&message, link.push.get()), 0);
}

TEST(send_provider_result, sends_four_frames) {
  const connection link;
  const log::captured_log log;
  EXPECT_TRUE(send_provider_result(example_record(), link.push.get()));
  EXPECT_EQ(frames_of(unique_message(zmsg_recv(link.pull.get()))),
            example_frames());
  EXPECT_EQ(log.lines(), lines{});
}

TEST(send_provider_result, sends_empty_blocks_as_empty_frames) {
  const connection link;
  EXPECT_TRUE(send_provider_result(provider_result(), link.push.get()));
  EXPECT_EQ(frames_of(unique_message(zmsg_recv(link.pull.get()))),
            (lines{std::string(736, '\0'), "", "", ""}));
}

TEST(send_provider_result, sends_as_much_as_the_header_says) {
  const connection link;
  provider_result record = example_record();
  record.header.stdout_size = 3;
  record.header.nodes_csv_size = 5;
  EXPECT_TRUE(send_provider_result(record, link.push.get()));
  const lines frames = frames_of(unique_message(zmsg_recv(link.pull.get())));
  ASSERT_EQ(frames.size(), 4u);
  EXPECT_EQ(frames[1], "one");
  EXPECT_EQ(frames[3], "alpha");
}

TEST(send_provider_result, sends_nothing_beyond_a_block) {
  const connection link;
  provider_result record = example_record();
  record.header.nodes_csv_size = 12;
  const log::captured_log log;
  EXPECT_FALSE(send_provider_result(record, link.push.get()));
  EXPECT_EQ(log.lines().size(), 1u);
  // What arrives next is the next message.
  EXPECT_TRUE(send_provider_result(provider_result(), link.push.get()));
  EXPECT_EQ(frames_of(unique_message(zmsg_recv(link.pull.get())))[1], "");
}

// Past every threshold: it is no log record.
TEST(send_provider_result, writes_errno_when_the_socket_cannot_send) {
  const unique_socket pull(zsock_new(ZMQ_PULL));
  const log::captured_log log(0);
  EXPECT_FALSE(send_provider_result(example_record(), pull.get()));
  EXPECT_EQ(log.text(), "zmsg_send: 95\n");
}

TEST(receive_provider_result, receives_what_was_sent) {
  const connection link;
  ASSERT_TRUE(send_provider_result(example_record(), link.push.get()));
  provider_result record;
  EXPECT_TRUE(receive_provider_result(record, link.pull.get()));
  EXPECT_TRUE(testing::same(record, example_record()));
}

TEST(receive_provider_result, is_silent_without_a_message) {
  const connection link;
  zsock_set_rcvtimeo(link.pull.get(), 0);
  const log::captured_log log;
  provider_result record;
  EXPECT_FALSE(receive_provider_result(record, link.pull.get()));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(receive_provider_result, refuses_another_number_of_frames) {
  const lines four = example_frames();
  for (const lines& frames : {lines{four[0]}, lines{four[0], four[1], four[2]},
                              lines{four[0], four[1], four[2], four[3], ""}}) {
    SCOPED_TRACE(frames.size());
    const connection link;
    send(link, frames);
    const log::captured_log log(log::level_error);
    provider_result record = example_record();
    EXPECT_FALSE(receive_provider_result(record, link.pull.get()));
    EXPECT_EQ(log.lines(), lines{"Unrecognized message format"});
    EXPECT_TRUE(testing::same(record, example_record()));
  }
}

TEST(receive_provider_result, appends_output_and_replaces_the_rest) {
  const connection link;
  provider_result second = example_record();
  second.header.exit_status = 9;
  second.header.nodes_csv_size = 5;
  second.nodes_csv = "gamma";
  ASSERT_TRUE(send_provider_result(example_record(), link.push.get()));
  ASSERT_TRUE(send_provider_result(second, link.push.get()));

  provider_result record;
  EXPECT_TRUE(receive_provider_result(record, link.pull.get()));
  EXPECT_TRUE(receive_provider_result(record, link.pull.get()));
  EXPECT_EQ(record.stdout.view(), example_stdout + example_stdout);
  EXPECT_EQ(record.stderr.view(), "oops\noops\n");
  EXPECT_EQ(testing::bytes_of(record.header), testing::bytes_of(second.header));
  EXPECT_EQ(record.nodes_csv, "gamma");
}

TEST(receive_provider_result, tells_of_it_at_level_info) {
  const connection link;
  for (const int threshold : {log::level_info, log::level_notice}) {
    SCOPED_TRACE(threshold);
    ASSERT_TRUE(send_provider_result(example_record(), link.push.get()));
    const log::captured_log log(threshold);
    provider_result record;
    EXPECT_TRUE(receive_provider_result(record, link.pull.get()));
    EXPECT_EQ(log.lines(), threshold == log::level_info
                               ? lines{"Received data provider 'memory' from "
                                       "node07 (767 bytes)"}
                               : lines{});
  }
}

// A text field of a stranger's header may have no zero byte.
TEST(decode_result_message, reads_no_text_past_its_field) {
  std::string header = example_header_image();
  header.replace(8, 64, 64, 'n');
  header.replace(104, 255, 255, 'h');
  const unique_message message =
      message_of({header, example_stdout, example_stderr, example_nodes});
  const log::captured_log log(log::level_info);
  provider_result record;
  EXPECT_TRUE(decode_result_message(record, message.get()));
  EXPECT_EQ(log.lines(),
            lines{"Received data provider '" + std::string(64, 'n') +
                  "' from " + std::string(255, 'h') + " (767 bytes)"});
}

TEST(decode_result_message, takes_only_what_the_header_claims) {
  lines frames = example_frames();
  frames[0] += "more";
  frames[1] += "more";
  frames[2] += "more";
  provider_result record;
  EXPECT_TRUE(decode_result_message(record, message_of(frames).get()));
  EXPECT_TRUE(testing::same(record, example_record()));
}

TEST(decode_result_message, takes_the_node_names_as_long_as_they_are) {
  lines frames = example_frames();
  frames[3] = std::string("alpha\0beta", 10);
  provider_result record;
  EXPECT_TRUE(decode_result_message(record, message_of(frames).get()));
  EXPECT_EQ(record.nodes_csv, "alpha");
  frames[3] = "";
  EXPECT_TRUE(decode_result_message(record, message_of(frames).get()));
  EXPECT_EQ(record.nodes_csv, "");
}

TEST(decode_result_message, refuses_a_block_shorter_than_claimed) {
  for (const std::size_t offset : {640u, 648u}) {
    for (const std::uint64_t size :
         {std::uint64_t{16}, std::uint64_t{1} << 40, std::uint64_t{1} << 63,
          std::numeric_limits<std::uint64_t>::max()}) {
      SCOPED_TRACE(std::to_string(offset) + " " + std::to_string(size));
      lines frames = example_frames();
      testing::put_number(frames[0], offset, 8, size);
      const log::captured_log log(log::level_error);
      provider_result record = example_record();
      EXPECT_FALSE(decode_result_message(record, message_of(frames).get()));
      EXPECT_EQ(log.lines(),
                lines{"Received a provider result whose output is incomplete"});
      EXPECT_TRUE(testing::same(record, example_record()));
    }
  }
}

TEST(decode_result_message_death, aborts_on_a_header_that_is_too_short) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const std::size_t size : {0u, 735u}) {
    SCOPED_TRACE(size);
    lines frames = example_frames();
    frames[0].resize(size);
    const unique_message message = message_of(frames);
    provider_result record;
    EXPECT_EXIT(decode_result_message(record, message.get()),
                ::testing::KilledBySignal(SIGABRT),
                "Received a provider result with a header of " +
                    std::to_string(size) + " bytes instead of 736");
  }
}

std::string fault_of(const lines& frames) {
  return result_message_fault(message_of(frames).get());
}

TEST(result_message_fault, finds_none_in_what_is_sent) {
  EXPECT_EQ(fault_of(example_frames()), "");
  std::string empty(736, '\0');
  empty[0] = 1;
  EXPECT_EQ(fault_of({empty, "", "", ""}), "");
}

TEST(result_message_fault, leaves_the_message_to_be_decoded) {
  const unique_message message = message_of(example_frames());
  EXPECT_EQ(result_message_fault(message.get()), "");
  provider_result record;
  EXPECT_TRUE(decode_result_message(record, message.get()));
  EXPECT_TRUE(testing::same(record, example_record()));
}

TEST(result_message_fault, names_another_number_of_frames) {
  const lines four = example_frames();
  EXPECT_EQ(fault_of({}), "0 frames instead of 4");
  EXPECT_EQ(fault_of({four[0], four[1], four[2]}), "3 frames instead of 4");
  EXPECT_EQ(fault_of({four[0], four[1], four[2], four[3], ""}),
            "5 frames instead of 4");
}

TEST(result_message_fault, names_a_header_of_another_length) {
  lines frames = example_frames();
  frames[0] += "x";
  EXPECT_EQ(fault_of(frames), "header of 737 bytes instead of 736");
  frames[0].resize(735);
  EXPECT_EQ(fault_of(frames), "header of 735 bytes instead of 736");
}

TEST(result_message_fault, names_another_version) {
  lines frames = example_frames();
  frames[0][0] = '\0';
  EXPECT_EQ(fault_of(frames), "version 0 instead of 1");
}

struct size_case {
  std::size_t frame;
  std::size_t offset;
  const char* block;
};

TEST(result_message_fault, names_a_block_of_another_length) {
  for (const size_case& c :
       {size_case{1, 640, "stdout"}, size_case{2, 648, "stderr"},
        size_case{3, 624, "node names"}}) {
    SCOPED_TRACE(c.block);
    const std::size_t right = example_frames()[c.frame].size();
    for (const std::int64_t claimed :
         {static_cast<std::int64_t>(right) + 1,
          static_cast<std::int64_t>(right) - 1, std::int64_t{-1},
          std::numeric_limits<std::int64_t>::max(),
          std::numeric_limits<std::int64_t>::min()}) {
      SCOPED_TRACE(claimed);
      lines frames = example_frames();
      testing::put_number(frames[0], c.offset, 8,
                          static_cast<std::uint64_t>(claimed));
      EXPECT_EQ(fault_of(frames),
                std::string(c.block) + " of " + std::to_string(right) +
                    " bytes where the header says " + std::to_string(claimed));
    }
  }
}

TEST(result_message_fault, names_a_zero_byte_in_the_node_names) {
  lines frames = example_frames();
  frames[3][4] = '\0';
  EXPECT_EQ(fault_of(frames), "node names with a zero byte");
}

}  // namespace
}  // namespace zelk
