#include "src/collect/src/provider/failing_libc.h"

#include <dlfcn.h>
#include <sys/file.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace zelk::testing {

namespace {

libc_faults* active = nullptr;

template <typename Function>
Function* real(Function* /*type*/, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

void note(const char* call) {
  if (active != nullptr) active->calls.emplace_back(call);
}

}  // namespace

libc_faults::libc_faults() {
  active = this;
}

libc_faults::~libc_faults() {
  active = nullptr;
}

}  // namespace zelk::testing

using zelk::testing::active;
using zelk::testing::note;
using zelk::testing::real;

extern "C" {

int gethostname(char* name, std::size_t len) noexcept {
  if (active != nullptr && active->gethostname_error != 0) {
    // As the C library does when the name is longer than `size`.
    std::memset(name, 'x', len);
    errno = active->gethostname_error;
    return -1;
  }
  if (active != nullptr && !active->host_name.empty()) {
    // A name of the whole field stays without a zero byte.
    std::memcpy(name, active->host_name.c_str(),
                std::min(len, active->host_name.size() + 1));
    return 0;
  }
  return real(&gethostname, "gethostname")(name, len);
}

// The library's own rule for a name that does not fit: ERANGE, nothing written.
int getlogin_r(char* name, std::size_t name_len) {
  if (active != nullptr && active->getlogin_r_error != 0)
    return active->getlogin_r_error;
  if (active != nullptr && !active->login_name.empty()) {
    if (active->login_name.size() >= name_len) return ERANGE;
    std::memcpy(name, active->login_name.c_str(),
                active->login_name.size() + 1);
    return 0;
  }
  return real(&getlogin_r, "getlogin_r")(name, name_len);
}

int uname(utsname* name) noexcept {
  if (active != nullptr) ++active->unames;
  if (active != nullptr && active->uname_error != 0) {
    errno = active->uname_error;
    return -1;
  }
  const int result = real(&uname, "uname")(name);
  if (active != nullptr && !active->machine.empty())
    std::strcpy(name->machine, active->machine.c_str());
  return result;
}

int gettimeofday(timeval* tv, void* tz) noexcept {
  if (active != nullptr && active->gettimeofday_error != 0) {
    errno = active->gettimeofday_error;
    return -1;
  }
  return real(&gettimeofday, "gettimeofday")(tv, tz);
}

int flock(int fd, int operation) noexcept {
  note(operation == LOCK_UN ? "unlock" : "lock");
  const int error = active == nullptr      ? 0
                    : operation == LOCK_UN ? active->unlock_error
                                           : active->lock_error;
  if (error != 0) {
    errno = error;
    return -1;
  }
  return real(&flock, "flock")(fd, operation);
}

FILE* fdopen(int fd, const char* modes) noexcept {
  note("fdopen");
  if (active != nullptr && active->fdopen_error != 0) {
    errno = active->fdopen_error;
    return nullptr;
  }
  return real(&fdopen, "fdopen")(fd, modes);
}

int fclose(FILE* stream) {
  note("fclose");
  const int result = real(&fclose, "fclose")(stream);
  if (active != nullptr && active->fclose_error != 0) {
    errno = active->fclose_error;
    return EOF;
  }
  return result;
}

ssize_t write(int fd, const void* buf, std::size_t n) {
  if (active != nullptr) {
    if (active->on_write) active->on_write();
    note("write");
    if (active->interrupted_writes > 0) {
      --active->interrupted_writes;
      errno = EINTR;
      return -1;
    }
    if (active->write_limit != 0) n = std::min(n, active->write_limit);
  }
  return real(&write, "write")(fd, buf, n);
}

int close(int fd) {
  note("close");
  return real(&close, "close")(fd);
}

}  // extern "C"
