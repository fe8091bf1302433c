// What --help prints.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace zelk::check {

std::string help_text(const CLI::App& app);

}  // namespace zelk::check
