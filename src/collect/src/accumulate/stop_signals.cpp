#include "src/collect/src/accumulate/stop_signals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace zelk::accumulate {

namespace {

sigset_t stopping_signals() {
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, SIGTERM);
  ::sigaddset(&set, SIGINT);
  return set;
}

void poke(int event) {
  const std::uint64_t one = 1;
  // It can only fail when it is readable already.
  [[maybe_unused]] const ssize_t written = ::write(event, &one, sizeof one);
}

}  // namespace

stop_signals::stop_signals() {
  const sigset_t set = stopping_signals();
  ::pthread_sigmask(SIG_BLOCK, &set, &before_);
  ::signal(SIGPIPE, SIG_IGN);
  fd_.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

stop_signals::~stop_signals() {
  if (watcher_.joinable()) {
    poke(quit_.get());
    watcher_.join();
  }
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void stop_signals::end_at_second() {
  came_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  quit_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  watcher_ = std::thread([this] { watch(); });
}

// A thread of its own, since the others may wait for a disk that does not
// answer.
void stop_signals::watch() {
  std::array<pollfd, 2> wanted = {pollfd{fd_.get(), POLLIN, 0},
                                  pollfd{quit_.get(), POLLIN, 0}};
  while ((wanted[1].revents & POLLIN) == 0) {
    ::poll(wanted.data(), wanted.size(), -1);
    take_in();
    if (count_ > 1) die();
    if (count_ > 0) poke(came_.get());
  }
}

int stop_signals::look() {
  if (!watcher_.joinable()) take_in();
  return count_;
}

void stop_signals::take_in() {
  signalfd_siginfo info = {};
  while (::read(fd_.get(), &info, sizeof info) ==
         static_cast<ssize_t>(sizeof info)) {
    if (first_ == 0) first_ = static_cast<int>(info.ssi_signo);
    ++count_;
  }
}

void stop_signals::die() const {
  ::signal(first_, SIG_DFL);
  sigset_t one;
  ::sigemptyset(&one);
  ::sigaddset(&one, first_);
  ::raise(first_);
  ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  std::_Exit(128 + first_);  // not reached
}

}  // namespace zelk::accumulate
