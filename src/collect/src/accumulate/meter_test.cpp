#include "src/collect/src/accumulate/meter.h"

#include <iostream>
#include <thread>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::accumulate {
namespace {

constexpr char erase[] = "\r\033[K";

TEST(meter, gives_way_to_log_lines) {
  log::captured_log log;
  {
    meter line(progress_style::bar);
    EXPECT_TRUE(line.shown());
    line.show("half way");
    std::cerr << "a log line\n" << 'x' << std::flush;
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    line.show("nearly there");
  }
  std::cerr << "afterwards\n";
  EXPECT_EQ(log.text(), std::string(erase) + "half way" + erase +
                            "a log line\nx" + erase + "nearly there" + erase +
                            "afterwards\n");
}

TEST(meter, is_not_shown_more_often_than_can_be_read) {
  log::captured_log log;
  meter line(progress_style::bar);
  for (int i = 0; i < 1000; ++i)
    line.show("text");
  EXPECT_EQ(log.text(), std::string(erase) + "text");
}

TEST(meter, is_not_shown_where_there_is_no_terminal) {
  log::captured_log log;
  for (const progress_style style :
       {progress_style::automatic, progress_style::lines,
        progress_style::none}) {
    meter line(style);
    if (style == progress_style::automatic && line.shown())
      continue;  // the tests run on a terminal
    EXPECT_FALSE(line.shown());
    line.show("text");
  }
  EXPECT_EQ(log.text(), "");
}

}  // namespace
}  // namespace zelk::accumulate
