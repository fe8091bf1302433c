#include "src/collect/src/collect/stop_signals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace zelk::collect {

namespace {

// A script that was started with nohup keeps SIGHUP ignored.
bool is_ignored(int number) {
  struct sigaction now = {};
  return ::sigaction(number, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

sigset_t stopping_signals() {
  constexpr std::array<int, 3> all = {SIGINT, SIGTERM, SIGHUP};
  sigset_t set;
  ::sigemptyset(&set);
  for (const int number : all)
    if (number != SIGHUP || !is_ignored(number)) ::sigaddset(&set, number);
  return set;
}

}  // namespace

stop_signals::stop_signals() {
  const sigset_t set = stopping_signals();
  ::pthread_sigmask(SIG_BLOCK, &set, &before_);
  ::signal(SIGPIPE, SIG_IGN);
  fd_.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

stop_signals::~stop_signals() {
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int stop_signals::look() {
  signalfd_siginfo info = {};
  while (::read(fd_.get(), &info, sizeof info) ==
         static_cast<ssize_t>(sizeof info)) {
    if (first_ == 0) first_ = static_cast<int>(info.ssi_signo);
    ++count_;
  }
  return count_;
}

void stop_signals::die() const {
  die_of(first_);
}

void die_of(int number) {
  ::signal(number, SIG_DFL);
  sigset_t one;
  ::sigemptyset(&one);
  ::sigaddset(&one, number);
  ::raise(number);
  ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  std::_Exit(128 + number);  // not reached
}

}  // namespace zelk::collect
