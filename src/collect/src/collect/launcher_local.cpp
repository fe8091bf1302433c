#include "src/collect/src/collect/launcher_kinds.h"
#include "src/collect/src/collect/per_node_launcher.h"

namespace zelk::collect {

namespace {

// "/bin/sh" can hardly fail; where it does, its last words are the reason.
failure shell_failure(std::string_view said, const std::string& node,
                      int wait_status) {
  failure why = ssh_failure(said, node, wait_status);
  why.how = ending::launcher_failed;
  why.reason = "sh: " + ended_with(wait_status);
  why.common_reason = why.reason;
  return why;
}

failure shell_loss(std::string_view said, const std::string& node,
                   int wait_status) {
  failure why = shell_failure(said, node, wait_status);
  why.how = ending::lost;
  return why;
}

}  // namespace

std::unique_ptr<launcher> make_local_launcher(const launcher_settings& settings,
                                              event_loop& loop) {
  node_way way;
  way.program = "sh";
  way.command = [](const std::string&) {
    return std::vector<std::string>{"/bin/sh", "-s", "zelk-collect"};
  };
  way.no_start = shell_failure;
  way.loss = shell_loss;
  way.breaks_with_process = false;
  return std::make_unique<per_node_launcher>(settings, loop, std::move(way));
}

}  // namespace zelk::collect
