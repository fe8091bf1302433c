#include "src/collect/src/collect/launch_rules.h"

#include <sys/resource.h>

#include <algorithm>
#include <random>

#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// A node's own clock, a loaded machine, a slow network.
constexpr seconds last_word_margin{5};

// Three pipes and a process descriptor, and half of that while one is made.
constexpr rlim_t descriptors_a_connection = 6;
constexpr rlim_t other_descriptors = 128;

}  // namespace

milliseconds login_time(const launcher_settings& settings) {
  return 3 * settings.connect_timeout;
}

seconds random_delay(const launcher_settings& settings) {
  const seconds most = std::chrono::duration_cast<seconds>(settings.stagger);
  if (most.count() <= 0) return seconds(0);
  static std::minstd_rand chance{std::random_device{}()};
  return seconds(
      std::uniform_int_distribution<seconds::rep>(0, most.count())(chance));
}

milliseconds last_word_after(const launch& what, seconds delay) {
  return what.limit + delay + remote_grace + last_word_margin;
}

failure no_login_failure(const std::string& program, const std::string& node,
                         const launcher_settings& settings) {
  const seconds time = std::chrono::ceil<seconds>(login_time(settings));
  const std::string within = " within " + std::to_string(time.count()) + " s";
  return {ending::connect_timeout, program + ": no login on " + node + within,
          program + ": no login" + within};
}

failure no_last_word_failure(const std::string& program,
                             const std::string& node) {
  return {ending::lost,
          program + ": no word from " + node + " since before its limit",
          program + ": no word since before the limit"};
}

failure no_program_failure(const std::string& program, int code) {
  const std::string why =
      program + " cannot be started " + util::errno_text(code);
  return {ending::launcher_failed, why, why};
}

void allow_descriptors(int connections) {
  const rlim_t needed =
      static_cast<rlim_t>(connections) * descriptors_a_connection +
      other_descriptors;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  if (limit.rlim_cur >= needed) return;
  limit.rlim_cur = std::min(needed, limit.rlim_max);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace zelk::collect
