// Which build a program is: what --version prints, and reports quote.
//
// The numbers come from the build system; a tree that is no git checkout has no
// commit, and nothing is said about one.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zelk {

// "0.1.0"
std::string product_version();

// The first 12 digits of the commit that the source tree was at when it was
// configured; "" outside a git checkout.
std::string source_commit();

// A format that the program writes, and its version: {"datastore", 3}.
using format_version = std::pair<std::string_view, std::int64_t>;

// The whole answer to --version, with its newlines:
//
//   zelk-db 0.1.0 (commit 4050829f31c2)
//   datastore version 3, export version 1
std::string version_text(std::string_view program,
                         const std::vector<format_version>& formats = {});

}  // namespace zelk
