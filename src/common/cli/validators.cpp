#include "src/common/cli/validators.h"

#include <string>

namespace zelk::cli {

CLI::Validator filled() {
  return {[](const std::string& value) {
            return value.empty() ? "expected a value; found ''" : "";
          },
          ""};
}

CLI::Validator number_from(double least, double most) {
  CLI::Validator range = CLI::Range(least, most);
  return range.description("");
}

CLI::Validator size_value() {
  CLI::Validator size = CLI::AsSizeValue(false);
  return size.description("");
}

}  // namespace zelk::cli
