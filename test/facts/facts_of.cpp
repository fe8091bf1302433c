// Prints the facts of a recorded output, as its .facts file has them.
//
//   facts_of etc/providers/mounts.xml recordings/mounts/login1.txt

#include <exception>
#include <iostream>

#include "src/common/facts/declaration.h"
#include "src/common/facts/test_printed.h"

int main(int argc, char* argv[]) {
  using namespace zelk::facts;
  if (argc != 3) {
    std::cerr << "usage: facts_of DESCRIPTION.xml OUTPUT.txt\n";
    return 3;
  }
  try {
    const auto by = declaration::read(
        argv[1], ZELK_SOURCE_DIR "/share/zelkara/description.xsd");
    if (!by) return 2;
    std::cout << printed(
        by->read_output(file_content(argv[2]), status_of_recording(argv[2])));
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "facts_of: " << error.what() << '\n';
    return 2;
  }
}
