#include "src/check/command/file_hashes.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

#include "src/collect/src/accumulate/sha256.h"

namespace zelk::check {

std::vector<std::pair<std::string, std::string>> file_hashes(
    const std::vector<std::string>& paths) {
  std::vector<std::pair<std::string, std::string>> result;
  accumulate::sha256 hash;
  for (const std::string& path : paths) {
    std::ifstream in(path, std::ios::binary);
    if (path.empty() || !in) continue;
    const std::string content{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) continue;
    std::string digits;
    for (const unsigned char byte : hash({content}))
      digits += fmt::format("{:02x}", byte);
    result.emplace_back(path, digits);
  }
  return result;
}

}  // namespace zelk::check
