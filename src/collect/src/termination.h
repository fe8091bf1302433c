// The end of the program on SIGINT and SIGTERM, at any moment.
//
// Takes the process group and every process of a running provider along, in a
// bounded time, and ends with the number of the signal. Nothing is delivered or
// flushed, no function registered with atexit() runs.

#pragma once

namespace zelk_run_provider {

// Sets up everything that an orderly end needs. To be called first of all, so
// that children which are there already are told from providers, and again
// after a library has put handlers of its own in place.
//
// SIGHUP is ignored from here on: when whoever started the program has gone,
// a provider that gets stopped makes the kernel send it to the whole group.
void install_termination_handler();

// The handler itself. Does not return.
[[noreturn]] void terminate_run_provider(int signal);

}  // namespace zelk_run_provider
