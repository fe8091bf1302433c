// Test support: calls of the C library that fail or answer on demand.
//
// The functions themselves are defined in failing_libc.cpp and stand before the
// library's in this program. Without a `libc_faults` in scope all of them do
// what the library does. One at a time; set its members before the call.

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zelk::testing {

struct libc_faults {
  libc_faults();
  ~libc_faults();
  libc_faults(const libc_faults&) = delete;
  libc_faults& operator=(const libc_faults&) = delete;

  // The errno with which a call fails; 0: it does not.
  int gethostname_error = 0;
  int getlogin_r_error = 0;
  int uname_error = 0;
  int gettimeofday_error = 0;
  int lock_error = 0;
  int unlock_error = 0;
  int fdopen_error = 0;
  int fclose_error = 0;  // after closing

  std::string host_name;        // answer of gethostname, when not empty
  std::string login_name;       // answer of getlogin_r, when not empty
  std::string machine;          // answer of uname, when not empty
  int interrupted_writes = 0;   // writes that fail with EINTR first
  std::size_t write_limit = 0;  // bytes that one write takes; 0: all

  std::function<void()> on_write;  // before each write

  int unames = 0;                  // calls seen
  std::vector<std::string> calls;  // flock, fdopen, write, fclose and close
};

}  // namespace zelk::testing
