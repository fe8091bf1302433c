#include "src/common/cli/standard_output.h"

#include <iostream>

namespace zelk::cli {

int checked_output(const char* program, int status, int otherwise) {
  if (std::cout.flush()) return status;
  std::cerr << program << ": standard output could not be written\n";
  return otherwise;
}

}  // namespace zelk::cli
