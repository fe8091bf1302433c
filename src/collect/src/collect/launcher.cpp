#include "src/collect/src/collect/launcher.h"

#include <array>
#include <utility>

#include "src/collect/src/collect/launcher_kinds.h"

namespace zelk::collect {

namespace {

using maker = std::unique_ptr<launcher> (*)(const launcher_settings&,
                                            event_loop&);

constexpr std::array<std::pair<const char*, maker>, 4> kinds{{
    {"local", make_local_launcher},
    {"mpi", make_mpi_launcher},
    {"slurm", make_slurm_launcher},
    {"ssh", make_ssh_launcher},
}};

}  // namespace

const char* ending_name(ending how) {
  switch (how) {
    case ending::exited:
      return "exited";
    case ending::signalled:
      return "signalled";
    case ending::no_route:
      return "no_route";
    case ending::unknown_host:
      return "unknown_host";
    case ending::refused:
      return "refused";
    case ending::connect_timeout:
      return "connect_timeout";
    case ending::host_key:
      return "host_key";
    case ending::login:
      return "login";
    case ending::program_missing:
      return "program_missing";
    case ending::wrong_version:
      return "wrong_version";
    case ending::timed_out:
      return "timed_out";
    case ending::stopped:
      return "stopped";
    case ending::lost:
      return "lost";
    case ending::launcher_failed:
      break;
  }
  return "launcher_failed";
}

std::unique_ptr<launcher> make_launcher(const launcher_settings& settings,
                                        event_loop& loop) {
  for (const auto& [name, make] : kinds) {
    if (settings.kind == name) return make(settings, loop);
  }
  return nullptr;
}

std::vector<std::string> launcher_kinds() {
  std::vector<std::string> names;
  names.reserve(kinds.size());
  for (const auto& [name, make] : kinds)
    names.emplace_back(name);
  return names;
}

}  // namespace zelk::collect
