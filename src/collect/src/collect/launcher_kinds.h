// The makers of all kinds of launchers; each is in a file of its own. A new one
// is declared here and named in launcher.cpp.

#pragma once

#include <memory>

#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/launcher.h"

namespace zelk::collect {

// Runs everything on this machine, whatever the node's name.
std::unique_ptr<launcher> make_local_launcher(const launcher_settings& settings,
                                              event_loop& loop);
// One OpenSSH client for each node, with keys and without questions.
std::unique_ptr<launcher> make_ssh_launcher(const launcher_settings& settings,
                                            event_loop& loop);
// One srun for all nodes of a call; inside an allocation or with one of its
// own.
std::unique_ptr<launcher> make_slurm_launcher(const launcher_settings& settings,
                                              event_loop& loop);
// One mpirun for all nodes of a call.
std::unique_ptr<launcher> make_mpi_launcher(const launcher_settings& settings,
                                            event_loop& loop);

// The options of ssh that any way through it shares, as words.
std::vector<std::string> ssh_option_words(const launcher_settings& settings);

}  // namespace zelk::collect
