// The output of a provider with its noise: a recorded output in which marks
// stand for what differs from node to node, or from run to run.
//
// README.md has the language. A template is compiled once for each class of
// machines, into literal pieces and marks.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "test/synthetic/machine_class.h"
#include "test/synthetic/mark.h"
#include "test/synthetic/moment.h"

namespace zelk::synthetic {

class output_template {
 public:
  // The stem of `path` is the place of all its noise. Throw std::runtime_error,
  // naming file and line.
  static output_template read(const std::string& path, const machine_class& of);
  static output_template compile(std::string_view text, const std::string& path,
                                 const machine_class& of);

  // Appends the output to `to`.
  void render(const moment& at, std::string& to) const;

  int exit_status() const { return exit_status_; }
  const std::string& errors() const { return errors_; }  // standard error

 private:
  friend class template_compiler;

  struct marked {
    std::string before;  // in front of the mark
    mark what;
  };

  std::vector<marked> marks_;
  std::string rest_;
  int exit_status_ = 0;
  std::string errors_;
};

}  // namespace zelk::synthetic
