#include "provider/src/common/settings.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>

namespace zelk::perf {
namespace {

const char* environment(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr && *text != '\0' ? text : nullptr;
}

template <typename Number>
bool reads_whole(std::string_view text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && stopped == end;
}

}  // namespace

std::int64_t number_setting(const char* variable, std::int64_t standard,
                            std::int64_t least, std::int64_t most) {
  const char* text = environment(variable);
  if (text == nullptr) return standard;
  std::int64_t number = 0;
  if (!reads_whole(text, number) || number < least || number > most) {
    throw usage_error(std::string(variable) + " is '" + text +
                      "', expected a whole number from " +
                      std::to_string(least) + " to " + std::to_string(most));
  }
  return number;
}

double seconds_setting(const char* variable, double standard, double most) {
  const char* text = environment(variable);
  if (text == nullptr) return standard;
  double seconds = 0;
  if (!reads_whole(text, seconds) || !(seconds > 0) || seconds > most) {
    throw usage_error(std::string(variable) + " is '" + text +
                      "', expected seconds above 0 and up to " +
                      std::to_string(static_cast<std::int64_t>(most)));
  }
  return seconds;
}

std::string text_setting(const char* variable, const char* standard) {
  const char* text = environment(variable);
  return text != nullptr ? text : standard;
}

std::string root_folder() {
  return text_setting("ZELK_PROVIDER_ROOT", "");
}

double seconds_allowed() {
  constexpr std::int64_t hour = 3600;
  constexpr std::int64_t year = std::int64_t{366} * 24 * hour;
  const std::int64_t given = number_setting("ZELK_TIMEOUT", hour, 1, year);
  // Printing and taking memory down take part of a second; a machine that is
  // busy with something else takes longer.
  const auto seconds = static_cast<double>(given);
  return seconds > 20 ? seconds - 5 : seconds * 0.75;
}

int stop(const char* program, int status, const std::string& reason) {
  std::fflush(stdout);
  const char* meaning = "";
  if (status == exit_not_applicable) meaning = "not applicable: ";
  if (status == exit_no_permission) meaning = "no permission: ";
  if (status == exit_incomplete) meaning = "incomplete: ";
  std::fprintf(stderr, "%s: %s%s\n", program, meaning, reason.c_str());
  return status;
}

bool flush_output(const char* program) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  std::fprintf(stderr, "%s: cannot write: %s\n", program, std::strerror(errno));
  return false;
}

int run_program(const char* program, int (*body)()) {
  try {
    const int status = body();
    return flush_output(program) ? status : 1;
  } catch (const usage_error& error) {
    return stop(program, exit_usage, error.what());
  } catch (const std::bad_alloc&) {
    return stop(program, exit_incomplete, "out of memory");
  } catch (const std::exception& error) {
    return stop(program, exit_incomplete, error.what());
  }
}

}  // namespace zelk::perf
