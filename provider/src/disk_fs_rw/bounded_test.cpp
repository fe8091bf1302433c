#include "provider/src/disk_fs_rw/bounded.h"

#include <signal.h>
#include <unistd.h>

#include <string_view>

#include <gtest/gtest.h>

#include "provider/src/common/clock_rate.h"

namespace zelk::perf::disk {
namespace {

void say(int output, std::string_view text) {
  if (::write(output, text.data(), text.size()) < 0) ::_exit(9);
}

int answer_well(int output) {
  say(output, "a: 1\n");
  return 0;
}

int hang(int output) {
  ::signal(SIGTERM, SIG_IGN);
  say(output, "a: 1\nb: 2");
  while (true)
    ::pause();
}

TEST(run_bounded, gives_back_the_lines) {
  const answer result = run_bounded({{answer_well, 30}}).front();
  EXPECT_EQ(result.how, ending::done);
  EXPECT_EQ(result.lines, "a: 1\n");
}

TEST(run_bounded, ends_what_does_not_end_and_keeps_its_whole_lines) {
  const answer result = run_bounded({{hang, 0.2}}).front();
  EXPECT_EQ(result.how, ending::too_slow);
  EXPECT_EQ(result.lines, "a: 1\n");
}

TEST(run_bounded, lets_none_wait_for_another) {
  const double start = now();
  const auto results =
      run_bounded({{hang, 1}, {answer_well, 30}, {hang, 1}, {hang, 1}});
  EXPECT_EQ(results[1].how, ending::done);
  EXPECT_EQ(results[3].how, ending::too_slow);
  EXPECT_LT(now() - start, 2.5);
}

TEST(run_bounded, tells_failure_from_success) {
  const auto fail = [](int) { return 3; };
  const auto die = [](int) { return ::raise(SIGKILL); };
  const auto results = run_bounded({{fail, 30}, {die, 30}});
  EXPECT_EQ(results[0].how, ending::failed);
  EXPECT_EQ(results[1].how, ending::failed);
}

}  // namespace
}  // namespace zelk::perf::disk
