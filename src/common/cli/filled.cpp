#include "src/common/cli/filled.h"

#include <string>

namespace zelk::cli {

CLI::Validator filled() {
  return {[](const std::string& value) {
            return value.empty() ? "expected a value; found ''" : "";
          },
          ""};
}

}  // namespace zelk::cli
