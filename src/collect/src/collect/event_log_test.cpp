#include "src/collect/src/collect/event_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::collect {
namespace {

std::string content_of(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST(event_line, is_one_object) {
  EXPECT_EQ(event_line(1763690712'345678, "result",
                       {{"node", "n1\n"},
                        {"exit_status", std::int64_t{3}},
                        {"duration", 1.5},
                        {"expected", true}}),
            "{\"time\":\"2025-11-21T02:05:12.345Z\",\"event\":\"result\","
            "\"node\":\"n1\\n\",\"exit_status\":3,\"duration\":1.5,"
            "\"expected\":true}\n");
}

TEST(event_log, writes_a_line_for_each_event) {
  char path[] = "/tmp/zelk.XXXXXX";
  ::close(::mkstemp(path));
  {
    event_log log;
    EXPECT_EQ(log.open(path), "");
    log.write("begin", {{"nodes", std::int64_t{2}}});
    log.write("end");
  }
  std::istringstream text(content_of(path));
  std::string first;
  std::getline(text, first);
  EXPECT_NE(first.find("\"event\":\"begin\",\"nodes\":2}"), std::string::npos);
  ::unlink(path);
}

TEST(event_log, says_why_it_cannot_be_written) {
  event_log log;
  EXPECT_EQ(log.open("/nowhere/events"),
            "--events: cannot write '/nowhere/events' (2): No such file or "
            "directory");
  EXPECT_FALSE(log.is_open());
  log.write("begin");
}

TEST(event_log, is_nothing_without_a_path) {
  event_log log;
  EXPECT_EQ(log.open(""), "");
  log.write("begin");
  EXPECT_FALSE(log.is_open());
}

// The collection goes on, and is told once.
TEST(event_log, gives_up_on_a_full_disk) {
  const log::captured_log lines;
  event_log log;
  ASSERT_EQ(log.open("/dev/full"), "");
  log.write("begin");
  log.write("end");
  EXPECT_EQ(lines.lines(),
            std::vector<std::string>{
                "--events: no more events are written: '/dev/full' (28): No "
                "space left on device"});
}

}  // namespace
}  // namespace zelk::collect
