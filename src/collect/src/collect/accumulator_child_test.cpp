#include "src/collect/src/collect/accumulator_child.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <optional>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using lines = std::vector<std::string>;
using std::chrono::seconds;

// A stand-in: a shell that speaks as the accumulator does.
class accumulator_child : public ::testing::Test {
 protected:
  accumulator_child() {
    char folder[] = "/tmp/zelk.XXXXXX";
    path_ = std::string(::mkdtemp(folder)) + "/accumulate";
  }
  ~accumulator_child() override {
    ::unlink(path_.c_str());
    ::rmdir(path_.substr(0, path_.rfind('/')).c_str());
  }
  std::string start(const std::string& script) {
    std::ofstream(path_) << "#!/bin/sh\n" << script << '\n';
    ::chmod(path_.c_str(), 0700);
    accumulator_listener listener;
    listener.ready = [this](const std::string& text) { endpoint = text; };
    listener.event = [this](const accumulator_event& event) {
      runs.push_back(event.run);
    };
    listener.message = [this](std::string_view line) {
      messages.emplace_back(line);
    };
    listener.end = [this](int code) { status = code; };
    return child.start({path_, "tcp://127.0.0.1:*", "new", ""}, listener,
                       "first\n");
  }
  bool wait_for_end() {
    const auto end = event_loop::clock::now() + seconds(60);
    while (!status && event_loop::clock::now() < end)
      loop.run_once(seconds(1));
    return status.has_value();
  }

  std::string path_;
  event_loop loop;
  std::string endpoint;
  std::vector<std::int64_t> runs;
  lines messages;
  std::optional<int> status;
  collect::accumulator_child child{loop};
};

TEST_F(accumulator_child, is_ready_and_tells_what_it_does) {
  ASSERT_EQ(start("echo READY tcp://127.0.0.1:5 >&3\n"
                  "echo '{\"event\":\"run\",\"run\":412}' >&5\n"
                  "echo nonsense >&5\n"
                  "echo warning >&2; echo unseen\n"
                  "exit 1"),
            "");
  ASSERT_TRUE(wait_for_end());
  EXPECT_EQ(endpoint, "tcp://127.0.0.1:5");
  EXPECT_EQ(runs, (std::vector<std::int64_t>{412}));
  // Two pipes have no order between them.
  std::sort(messages.begin(), messages.end());
  EXPECT_EQ(messages, (lines{"not understood: nonsense", "warning"}));
}

TEST_F(accumulator_child, gets_its_orders_and_the_end_of_them) {
  ASSERT_EQ(start("exec 1>&2; cat <&4"), "");
  child.tell("expect\n");
  child.close("auto");
  ASSERT_TRUE(wait_for_end());
  EXPECT_EQ(messages, (lines{"first", "expect", R"({"close":"auto"})"}));
  EXPECT_FALSE(child.running());
}

TEST(accumulator_command, names_the_datastore_only_when_it_is_given) {
  const lines words = accumulator_command({"/x", "tcp://*:*", "412", "a.db"});
  EXPECT_EQ(lines(words.begin(), words.begin() + 6),
            (lines{"/x", "listen", "--bind", "tcp://*:*", "--run", "412"}));
  EXPECT_EQ(words.back(), "a.db");
  const lines without = accumulator_command({"/x", "tcp://*:*", "new", ""});
  EXPECT_EQ(without.size() + 2, words.size());
}

}  // namespace
}  // namespace zelk::collect
