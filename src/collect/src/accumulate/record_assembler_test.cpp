#include "src/collect/src/accumulate/record_assembler.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_intake.h"

namespace zelk::accumulate {
namespace {

using admission = record_assembler::admission;

constexpr std::size_t max_record = 1 << 20;

struct assembler_test : public ::testing::Test {
  memory_budget budget{std::size_t{4} << 20};
  record_assembler assembler{max_record, budget};

  // Feeds one frame; returns whether the message ended.
  bool put(const std::string& body, bool more) {
    EXPECT_EQ(assembler.begin_frame(body.size(), more), admission::granted);
    std::size_t done = 0;
    while (done < body.size()) {
      const std::span<unsigned char> room = assembler.room();
      const std::size_t count =
          room.empty()
              ? body.size() - done
              : std::min<std::size_t>({room.size(), 100, body.size() - done});
      if (!room.empty()) std::memcpy(room.data(), body.data() + done, count);
      assembler.took(count);
      done += count;
    }
    return assembler.end_frame();
  }

  // Feeds a message; returns its fault, or "" when there is a record.
  std::string fault_of(const frame_list& frames) {
    for (std::size_t i = 0; i < frames.size(); ++i)
      EXPECT_EQ(put(frames[i], i + 1 < frames.size()), i + 1 == frames.size());
    std::string fault = assembler.fault();
    const std::unique_ptr<arrival> taken = assembler.take();
    EXPECT_EQ(taken == nullptr, !fault.empty());
    if (taken) budget.release(taken->charge);
    assembler.reset();
    EXPECT_TRUE(assembler.between_messages());
    EXPECT_EQ(budget.held(), 0U);
    return fault;
  }
};

TEST_F(assembler_test, puts_a_record_together_byte_for_byte) {
  provider_result record = a_result("node1", 5, std::string("a\0b\xff", 4));
  record.stderr.append("oops");
  record.header.stderr_size = 4;
  const frame_list frames = frames_of(record);
  EXPECT_FALSE(put(frames[0], true));
  EXPECT_FALSE(put(frames[1], true));
  EXPECT_FALSE(put(frames[2], true));
  EXPECT_TRUE(put(frames[3], false));
  const std::unique_ptr<arrival> taken = assembler.take();
  ASSERT_NE(taken, nullptr);
  EXPECT_TRUE(same_bytes(taken->record, record));
  EXPECT_EQ(taken->charge, budget.held());
  EXPECT_TRUE(assembler.between_messages());
}

TEST_F(assembler_test, takes_a_record_of_nothing) {
  provider_result record;
  record.header.api = 1;
  EXPECT_EQ(fault_of({std::string(image_of(record.header)), "", "", ""}), "");
}

TEST_F(assembler_test, refuses_what_contradicts_itself) {
  const provider_result good = a_result("node1", 5, "12345");
  const auto with = [&](auto change) {
    provider_result bad = a_result("node1", 5, "12345");
    change(bad);
    return frames_of(bad);
  };
  const frame_list frames = frames_of(good);
  const struct {
    frame_list frames;
    const char* fault;
  } cases[] = {
      {{frames[0]}, "1 frames instead of 4"},
      {{frames[0], frames[1], frames[2]}, "3 frames instead of 4"},
      {{frames[0], frames[1], frames[2], frames[3], "x"},
       "5 frames instead of 4"},
      {{"x", "y", "z"}, "3 frames instead of 4"},
      {{frames[0].substr(1), "12345", "", "node1"},
       "header of 735 bytes instead of 736"},
      {{frames[0] + "x", "12345", "", "node1"},
       "header of 737 bytes instead of 736"},
      {{"", "12345", "", "node1"}, "header of 0 bytes instead of 736"},
      {{frames[0], "1234", "", "node1"},
       "stdout of 4 bytes where the header says 5"},
      {{frames[0], "12345", "x", "node1"},
       "stderr of 1 bytes where the header says 0"},
      {{frames[0], "12345", "", "node"},
       "node names of 4 bytes where the header says 5"},
      {{frames[0], "12345", "", std::string("no\0de", 5)},
       "node names with a zero byte"},
      {with([](auto& r) { r.header.stdout_size = -1; }), "stdout of -1 bytes"},
      {with([](auto& r) { r.header.nodes_csv_size = INT64_MIN; }),
       "node names of -9223372036854775808 bytes"},
      {with([](auto& r) { r.header.stderr_size = INT64_MAX; }),
       "stderr of 9223372036854775807 bytes where a record may have 1048576"},
      {with([](auto& r) { r.header.stdout_size = max_record; }),
       "stdout of 1048576 bytes where a record may have 1048576"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    EXPECT_EQ(fault_of(one.frames), one.fault);
    // The next one of the same peer is welcome.
    EXPECT_EQ(fault_of(frames), "");
  }
  provider_result later = a_result("node1", 5);
  later.header.api = 2;
  EXPECT_NE(fault_of(frames_of(later)), "");
}

TEST_F(assembler_test, takes_what_is_just_within_the_limit) {
  provider_result record = a_result(
      "n", 1,
      std::string(max_record - sizeof(provider_result_header) - 1, 'x'));
  EXPECT_EQ(fault_of(frames_of(record)), "");
  record.stdout.append("x");
  ++record.header.stdout_size;
  EXPECT_NE(fault_of(frames_of(record)), "");
}

TEST_F(assembler_test, tells_whose_message_it_is) {
  EXPECT_EQ(assembler.whose(), "");
  const frame_list frames = frames_of(a_result("bad\nname", 5, "12345"));
  put(frames[0], true);
  EXPECT_EQ(assembler.whose(), "bad?name, provider memory");
  put("1234", true);
  EXPECT_EQ(assembler.whose(), "bad?name, provider memory");
  EXPECT_EQ(assembler.how_far(), "740 bytes");
}

TEST_F(assembler_test, says_how_far_a_good_one_has_come) {
  const frame_list frames = frames_of(a_result("node1", 5, "12345"));
  put(frames[0], true);
  put(frames[1], true);
  EXPECT_EQ(assembler.how_far(), "741 of 746 bytes");
}

TEST_F(assembler_test, waits_for_memory_before_it_reads_a_block) {
  const frame_list frames = frames_of(a_result("node1", 5, "12345"));
  ASSERT_TRUE(budget.reserve(budget.limit() - 100));
  put(frames[0], true);
  EXPECT_EQ(assembler.begin_frame(5, true), admission::wait);
  EXPECT_EQ(assembler.begin_frame(5, true), admission::wait);
  budget.release(budget.limit() - 100);
  EXPECT_EQ(assembler.begin_frame(5, true), admission::granted);
  EXPECT_GT(assembler.held(), 0U);
  EXPECT_EQ(assembler.held(), budget.held());
}

TEST_F(assembler_test, gives_the_memory_of_an_unfinished_record_back) {
  const frame_list frames = frames_of(a_result("node1", 5, "12345"));
  put(frames[0], true);
  put(frames[1], true);
  EXPECT_GT(budget.held(), 0U);
  assembler.reset();
  EXPECT_EQ(budget.held(), 0U);
}

// A sender with a fifth frame of a gigabyte costs time, not memory.
TEST_F(assembler_test, skips_without_holding) {
  const frame_list frames = frames_of(a_result("node1", 5, "12345"));
  for (const std::string& one : frames)
    put(one, true);
  EXPECT_EQ(assembler.begin_frame(std::uint64_t{1} << 30, false),
            admission::granted);
  EXPECT_TRUE(assembler.room().empty());
  EXPECT_EQ(budget.held(), 0U);
  assembler.took(std::size_t{1} << 30);
  EXPECT_TRUE(assembler.end_frame());
}

TEST_F(assembler_test, gives_up_on_what_never_ends) {
  EXPECT_EQ(assembler.begin_frame(std::uint64_t{1} << 60, true),
            admission::broken);
  assembler.reset();
  admission last = admission::granted;
  for (int i = 0; i < 1000 && last == admission::granted; ++i) {
    last = assembler.begin_frame(0, true);
    if (last == admission::granted) assembler.end_frame();
  }
  EXPECT_EQ(last, admission::broken);
}

TEST(memory_budget, wakes_whoever_was_refused_once) {
  int woken = 0;
  memory_budget budget(100, [&] { ++woken; });
  EXPECT_TRUE(budget.reserve(60));
  budget.release(10);
  EXPECT_EQ(woken, 0);
  EXPECT_FALSE(budget.reserve(60));
  EXPECT_FALSE(budget.reserve(60));
  budget.release(20);
  EXPECT_EQ(woken, 1);
  budget.release(10);
  EXPECT_EQ(woken, 1);
  EXPECT_TRUE(budget.reserve(80));
  EXPECT_EQ(budget.left(), 0U);
  EXPECT_TRUE(budget.reserve(0));
}

}  // namespace
}  // namespace zelk::accumulate
