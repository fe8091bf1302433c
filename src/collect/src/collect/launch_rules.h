// What all launchers have in common: how long they wait, and what they say when
// that was in vain.

#pragma once

#include <chrono>
#include <string>

#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/remote_script.h"
#include "src/collect/src/collect/ssh_failure.h"

namespace zelk::collect {

// From stop() until what has not ended is no longer waited for: a node may take
// remote_grace for it.
constexpr std::chrono::seconds stop_patience =
    remote_grace + std::chrono::seconds(5);

// Between SIGTERM and SIGKILL for a process of ours.
constexpr std::chrono::seconds child_patience{2};

// The time for a login as a whole: a host that answers may be slow to let one
// in.
std::chrono::milliseconds login_time(const launcher_settings& settings);

// By chance, up to the settings' stagger.
std::chrono::seconds random_delay(const launcher_settings& settings);

// From a node's "begin" until it must have told its end. Requires: a limit.
std::chrono::milliseconds last_word_after(const launch& what,
                                          std::chrono::seconds delay);

failure no_login_failure(const std::string& program, const std::string& node,
                         const launcher_settings& settings);
failure no_last_word_failure(const std::string& program,
                             const std::string& node);
// `code` is errno.
failure no_program_failure(const std::string& program, int code);

// Raises the limit of open descriptors as far as it is needed and permitted.
void allow_descriptors(int connections);

}  // namespace zelk::collect
