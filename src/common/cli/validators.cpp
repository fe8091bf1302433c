#include "src/common/cli/validators.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

#include "src/common/text/size_text.h"

namespace zelk::cli {

namespace {

bool lies_between(const std::string& value, double least, double most) {
  double number = 0;
  const char* end = value.data() + value.size();
  const auto read = std::from_chars(value.data(), end, number);
  return read.ec == std::errc() && read.ptr == end && number >= least &&
         number <= most;
}

}  // namespace

CLI::Validator filled() {
  return {[](const std::string& value) {
            return value.empty() ? "expected a value; found ''" : "";
          },
          ""};
}

CLI::Validator number_from(double least, double most) {
  return {[least, most](const std::string& value) {
            return lies_between(value, least, most)
                       ? std::string()
                       : fmt::format(
                             "expected a number from {} to {}; found '{}'",
                             least, most, value);
          },
          ""};
}

CLI::Validator size_value() {
  return {[](std::string& value) -> std::string {
            const std::optional<std::int64_t> bytes = text::size_bytes(value);
            if (!bytes)
              return fmt::format(
                  "expected a size like 4096, 512K or 64MiB; found '{}'",
                  value);
            value = std::to_string(*bytes);
            return "";
          },
          ""};
}

}  // namespace zelk::cli
