#include "src/collect/src/accumulate/zmtp_stream.h"

#include <random>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_intake.h"

namespace zelk::accumulate {
namespace {

using state = zmtp_stream::state;

struct stream_test : public ::testing::Test {
  memory_budget budget{std::size_t{8} << 20};
  zmtp_stream stream{std::size_t{1} << 20, budget};
  std::vector<std::unique_ptr<arrival>> records;
  lines faults;

  // Feeds all of `bytes` in pieces of `piece`; returns the last state.
  state feed(std::string_view bytes, std::size_t piece = std::string::npos) {
    state now = state::reading;
    while (!bytes.empty() && now != state::broken) {
      std::string_view part = bytes.substr(0, piece);
      bytes.remove_prefix(part.size());
      now = stream.feed(part);
      while (now == state::message) {
        take();
        now = stream.feed(part);
      }
    }
    return now;
  }

  void take() {
    if (auto record = stream.assembler().take())
      records.push_back(std::move(record));
    else
      faults.push_back(stream.assembler().fault());
    stream.assembler().reset();
  }

  void introduce() {
    ASSERT_EQ(feed(greeting() + introduction()), state::reading);
    ASSERT_TRUE(stream.established());
    stream.take_replies();
  }
};

TEST_F(stream_test, greets_first_and_introduces_itself_when_asked) {
  const std::string hello = stream.take_replies();
  ASSERT_EQ(hello.size(), 64U);
  EXPECT_EQ(hello.substr(0, 16), greeting().substr(0, 16));
  EXPECT_EQ(feed(greeting()), state::reading);
  EXPECT_EQ(stream.take_replies(), "");
  EXPECT_FALSE(stream.established());
  EXPECT_EQ(feed(introduction()), state::reading);
  EXPECT_EQ(stream.take_replies(), introduction("PULL"));
  EXPECT_TRUE(stream.established());
  EXPECT_TRUE(stream.between_messages());
}

TEST_F(stream_test, reads_records_however_they_are_cut) {
  provider_result large = a_result("node2", 2, std::string(70'000, 'y'));
  const std::string bytes =
      greeting() + introduction() + message(a_result("node1", 1, "short")) +
      message(large) + command(std::string("\4PING\0\0", 7)) +
      message(a_result("node3", 3, ""));
  for (const std::size_t piece :
       {1UL, 2UL, 3UL, 7UL, 64UL, 65UL, 736UL, 1000UL, 65536UL, bytes.size()}) {
    SCOPED_TRACE(piece);
    zmtp_stream fresh(std::size_t{1} << 20, budget);
    std::vector<std::unique_ptr<arrival>> got;
    for (std::size_t i = 0; i < bytes.size(); i += piece) {
      std::string_view part = std::string_view(bytes).substr(i, piece);
      state now = fresh.feed(part);
      while (now == state::message) {
        got.push_back(fresh.assembler().take());
        now = fresh.feed(part);
      }
      ASSERT_EQ(now, state::reading);
    }
    ASSERT_EQ(got.size(), 3U);
    EXPECT_TRUE(same_bytes(got[1]->record, large));
    EXPECT_TRUE(fresh.between_messages());
    budget.release(budget.held());
  }
}

// What is read as wanted never runs over a decision about memory.
TEST_F(stream_test, wants_no_more_than_it_can_take) {
  const std::string bytes = greeting() + introduction() +
                            message(a_result("node1", 1, "12345")) +
                            message(a_result("node2", 2, "12345"));
  std::string_view rest = bytes;
  while (!rest.empty()) {
    ASSERT_GT(stream.wanted(), 0U);
    std::string_view part = rest.substr(0, stream.wanted());
    rest.remove_prefix(part.size());
    const state now = stream.feed(part);
    EXPECT_TRUE(part.empty());
    if (now == state::message) take();
  }
  EXPECT_EQ(records.size(), 2U);
}

TEST_F(stream_test, puts_large_blocks_where_they_belong) {
  introduce();
  const provider_result record = a_result("node1", 1, std::string(50'000, 'x'));
  const frame_list frames = frames_of(record);
  feed(frame(frames[0], true));
  feed(frame(frames[1], true).substr(0, 9 + 10));
  ASSERT_EQ(stream.room().size(), 49'990U);
  std::memset(stream.room().data(), 'x', 49'990);
  EXPECT_EQ(stream.took(49'990), state::reading);
  feed(frame(frames[2], true) + frame(frames[3], false));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_TRUE(same_bytes(records[0]->record, record));
}

TEST_F(stream_test, knows_strangers_by_their_first_bytes) {
  const struct {
    std::string bytes;
    const char* fault;
  } cases[] = {
      {"GET / HTTP/1.1\r\n\r\n", "'GET / HTTP/1.1\?\?\?\?' is not ZMTP"},
      {"x", "'x' is not ZMTP"},
      {std::string("\0\0\0\0", 4), "'\?\?\?\?' is not ZMTP"},
      {"\xff" + std::string(9, '\0'), "'?\?\?\?\?\?\?\?\?\?' is not ZMTP"},
      {greeting().substr(0, 10) + "\1", "ZMTP older than version 3"},
      {greeting().substr(0, 10) + std::string(1, '\0'),
       "ZMTP older than version 3"},
      {greeting().replace(12, 5, "PLAIN"),
       "security mechanism 'PLAIN' instead of 'NULL'"},
      {greeting() + introduction("DEALER"),
       "a socket of type 'DEALER' instead of 'PUSH'"},
      {greeting() + command("\5READY"),
       "a socket of type '' instead of 'PUSH'"},
      {greeting() + command("\5READY\x0bSocket-Type\x7f\xff\xff\xff"),
       "a socket of type '' instead of 'PUSH'"},
      {greeting() + command("\5ERROR\3bad"),
       "the command 'ERROR' instead of 'READY'"},
      {greeting() + command("\x20READY"), "a command without a name"},
      {greeting() + std::string("\4\0", 2), "a command of 0 bytes"},
      {greeting() + "\6" + std::string(6, '\0') + "\x10\1",
       "a command of 4097 bytes"},
      {greeting() + "\x08\x01", "a frame with unknown flags"},
      {greeting() + message(a_result("n", 1)),
       "a message before the introduction"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    for (const std::size_t piece : {std::size_t{1}, one.bytes.size()}) {
      zmtp_stream fresh(1 << 20, budget);
      state now = state::reading;
      for (std::size_t i = 0; i < one.bytes.size() && now != state::broken;
           i += piece) {
        std::string_view part = std::string_view(one.bytes).substr(i, piece);
        now = fresh.feed(part);
      }
      EXPECT_EQ(now, state::broken);
      EXPECT_EQ(fresh.kind(), refusal::garbage);
      if (piece > 1) {
        EXPECT_EQ(fresh.fault(), one.fault);
      }
      std::string_view more = "more";
      EXPECT_EQ(fresh.feed(more), state::broken);
    }
  }
}

TEST_F(stream_test, accepts_any_spelling_and_other_properties) {
  const std::string identity = "\x08Identity" + std::string(4, '\0');
  EXPECT_EQ(feed(greeting() + command("\5READY" + identity + "\x0bsocket-type" +
                                      std::string(3, '\0') + "\4PUSH")),
            state::reading);
  EXPECT_TRUE(stream.established());
}

TEST_F(stream_test, answers_a_ping_with_its_context) {
  introduce();
  feed(command(std::string("\4PING\0\7hello", 12)));
  EXPECT_EQ(stream.take_replies(), command("\4PONGhello"));
  // Not longer than a context may be, and nothing of other commands.
  feed(command(std::string("\4PING\0\7", 7) + std::string(17, 'x')));
  feed(command("\4PONG") + command("\6CANCELx"));
  EXPECT_EQ(stream.take_replies(), "");
  EXPECT_TRUE(stream.between_messages());
}

TEST_F(stream_test, does_not_collect_answers_that_nobody_reads) {
  introduce();
  for (int i = 0; i < 100'000; ++i)
    feed(command(std::string("\4PING\0\7context", 14)));
  EXPECT_LT(stream.take_replies().size(), 5000U);
}

TEST_F(stream_test, asks_for_a_sign_of_life) {
  stream.take_replies();
  stream.ping();
  EXPECT_EQ(stream.take_replies(), "");  // not before the introduction
  feed(greeting() + introduction());
  stream.take_replies();
  stream.ping();
  EXPECT_EQ(stream.take_replies(), command(std::string("\4PING\0\0", 7)));
}

TEST_F(stream_test, waits_for_memory_and_goes_on) {
  introduce();
  ASSERT_TRUE(budget.reserve(budget.limit()));
  const frame_list frames = frames_of(a_result("node1", 1, "12345"));
  EXPECT_EQ(feed(frame(frames[0], true) + frame(frames[1], true).substr(0, 2)),
            state::waiting);
  EXPECT_EQ(stream.wanted(), 0U);
  std::string_view nothing;
  EXPECT_EQ(stream.feed(nothing), state::waiting);
  budget.release(budget.limit());
  EXPECT_EQ(stream.feed(nothing), state::reading);
  feed("12345" + frame(frames[2], true) + frame(frames[3], false));
  EXPECT_EQ(records.size(), 1U);
}

TEST_F(stream_test, ends_a_message_that_never_ends) {
  introduce();
  std::string endless;
  for (int i = 0; i < 200; ++i)
    endless += frame("", true);
  EXPECT_EQ(feed(endless), state::broken);
  EXPECT_EQ(stream.kind(), refusal::malformed);
}

// Whatever comes: no crash, no memory kept, and every byte accounted for.
TEST_F(stream_test, survives_damaged_streams) {
  std::mt19937 random(20251121);
  const std::string good =
      greeting() + introduction() +
      message(a_result("node1", 1, std::string(300, 'x'))) +
      command(std::string("\4PING\0\7hello", 12)) +
      message(a_result("node2", 2, ""));
  for (int round = 0; round < 20'000; ++round) {
    std::string bytes = good;
    for (std::size_t i = random() % 6; i > 0; --i) {
      const std::size_t at = random() % bytes.size();
      switch (random() % 4) {
        case 0:
          bytes[at] = static_cast<char>(random());
          break;
        case 1:
          bytes.erase(at, random() % 20);
          break;
        case 2:
          bytes.insert(at, std::string(random() % 20, '\xff'));
          break;
        default:
          bytes[at] = static_cast<char>(bytes[at] ^ 1 << random() % 8);
      }
    }
    zmtp_stream fresh(1 << 20, budget);
    std::string_view rest = bytes;
    while (!rest.empty()) {
      std::string_view part = rest.substr(0, 1 + random() % 400);
      rest.remove_prefix(part.size());
      state now = fresh.feed(part);
      while (now == state::message) {
        if (auto record = fresh.assembler().take())
          budget.release(record->charge);
        fresh.assembler().reset();
        now = fresh.feed(part);
      }
      if (now == state::broken) break;
      ASSERT_TRUE(part.empty());
    }
    fresh.assembler().reset();
    ASSERT_EQ(budget.held(), 0U);
  }
}

}  // namespace
}  // namespace zelk::accumulate
