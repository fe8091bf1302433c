// The coordinator's end of one agent: the process that leads to it, here or
// through ssh, and what it says.
//
// A peer is gone when its answers end. Its process is killed at the end of the
// object at the latest; the agent on the other node ends with its orders.

#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "provider/src/net_pairs/control.h"
#include "src/common/util/unique_fd.h"

namespace zelk::net_pairs {

class peer {
 public:
  // Throws `failure` when the program cannot be started.
  explicit peer(const std::vector<std::string>& argv);
  peer(const peer&) = delete;
  peer& operator=(const peer&) = delete;
  ~peer();

  // Returns false when nothing can be said any more. Never waits.
  bool say(std::string_view line);

  int answers() const { return answers_.get(); }
  int complaints() const { return complaints_.get(); }
  // Reads what is there; sets `ended` at its end.
  std::vector<std::string> read_answers(bool& ended);
  void read_complaints();

  // Why it is gone, as far as the process said; waits for its end.
  std::string last_words();

 private:
  void reap(clock::time_point end);  // kills what has not ended by then

  pid_t pid_ = -1;
  util::unique_fd orders_;
  util::unique_fd answers_;
  util::unique_fd complaints_;
  line_buffer lines_;
  line_buffer complaint_lines_;
  std::string complaint_;  // the last one that says something
  int status_ = 0;         // as waitpid(2) has it
};

}  // namespace zelk::net_pairs
