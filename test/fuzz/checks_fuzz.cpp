// Check definitions of any bytes: refused as a whole, or each one ready to be
// judged by.

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "src/check/judge/definitions.h"
#include "test/fuzz/memory_file.h"

namespace {

// A folder is read, not a file. It lies where the fuzzer was started.
std::string folder() {
  static const std::string made = [] {
    std::filesystem::create_directory("definitions");
    return std::string("definitions");
  }();
  return made;
}

void judge(const zelk::check::check_definition& one) {
  zelk::require(!one.id.empty() && !one.title.empty());
  zelk::require(one.score >= 0 && one.score <= 100);
  for (const char c : one.id)
    zelk::require((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-');
  // Built in is one whose limits are those of the command line.
  if (one.what.kind == zelk::check::rule::range && !one.file.empty())
    zelk::require(one.what.limit.has_value());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::silence_log();
  const std::string path = folder() + "/one.xml";
  std::ofstream(path).write(reinterpret_cast<const char*>(data),
                            static_cast<std::streamsize>(size));
  const auto checks = zelk::check::check_set::read(
      {folder()}, ZELK_SOURCE_DIR "/share/zelkara/check.xsd");
  if (!checks) return 0;
  std::set<std::string> ids;
  for (const zelk::check::check_definition* one : checks->all()) {
    judge(*one);
    zelk::require(ids.insert(one->id).second);
    zelk::require(checks->find(one->id) == one);
  }
  return 0;
}
