// Values of options, as people type them.
//
// What is none of them is a usage_mistake that names the option and what was
// expected.

#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/command/settings.h"

namespace zelk::check {

struct usage_mistake : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse_value(const std::string& option,
                               const std::string& expected,
                               const std::string& found);

double number_value(const std::string& option, const std::string& text,
                    double least);
std::size_t count_value(const std::string& option, const std::string& text,
                        std::size_t least);
// "512K", "5 MiB", "0"
std::size_t size_value(const std::string& option, const std::string& text);
std::int64_t duration_value(const std::string& option, const std::string& text);
severity severity_value(const std::string& option, const std::string& text);

// One of `known`, else a mistake that lists them.
void check_one_of(const std::string& option, const std::string& text,
                  const std::vector<std::string>& known);

// "html", "svg" or a form of a report.
output_form form_value(const std::string& option, const std::string& text);
// By the ending of the file's name.
output_form form_of_file(const std::string& option, const std::string& path);

}  // namespace zelk::check
