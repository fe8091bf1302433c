// What does not answer, or cannot.

#include "test/synthetic/faults.h"

namespace zelk::synthetic {

namespace {

constexpr int timed_out = 124, tool_missing = 81, no_permission = 82,
              incomplete = 83, command_missing = 127;

void silent(patient& ill) {
  ill.fall_silent("ssh: connect to host " + ill.name() +
                  " port 22: No route to host");
}

void provider_lost(patient& ill) {
  ill.lose("stream_triad", "the connection was lost");
}

void provider_timed_out(patient& ill) {
  ill.end("fs_local_space", timed_out, "");
}

void provider_failed(patient& ill) {
  ill.end("pci_devices", command_missing, "sh: 1: awk: not found\n");
}

void permission_missing(patient& ill) {
  ill.end("kmsg_errors", no_permission,
          "kmsg_errors.sh: no permission: kernel messages "
          "(kernel.dmesg_restrict)\n");
}

void no_tool(patient& ill) {
  ill.end("services", tool_missing, "services.sh: tool missing: systemctl\n");
}

void half_an_answer(patient& ill) {
  ill.remove("sensors_bmc", "ipmitool: ");
  ill.end_early("sensors_bmc", incomplete,
                "sensors_bmc.sh: incomplete: ipmitool gave no answer in 30 "
                "s\n");
}

}  // namespace

// A flat table.
std::vector<fault> silence_faults() {
  using enum spread;
  using enum onset;
  using check::answer;
  using check::severity;
  const std::vector<std::string> any = {"compute_a", "compute_b", "gpu",
                                        "login"};
  const auto told = [](answer what, const char* provider) {
    return expected{{}, {}, severity::warning, what, provider};
  };
  return {
      {"silent",
       "it does not answer at all",
       any,
       one,
       last_run,
       silent,
       {{"no-answer"}, {}, severity::critical}},
      {"provider-lost", "one answer did not come", any, one, last_run,
       provider_lost, told(answer::missing, "stream_triad")},
      {"provider-timed-out", "one provider was stopped at its limit", any, one,
       last_run, provider_timed_out, told(answer::timed_out, "fs_local_space")},
      {"provider-failed", "one provider failed", any, one, last_run,
       provider_failed, told(answer::failed, "pci_devices")},
      {"permission-missing", "one provider was not allowed to look", any, one,
       before, permission_missing, told(answer::no_permission, "kmsg_errors")},
      {"tool-missing", "one provider lacks its tool", any, one, before, no_tool,
       told(answer::tool_missing, "services")},
      {"half-an-answer", "one provider could not read all", any, one, last_run,
       half_an_answer, told(answer::incomplete, "sensors_bmc")},
  };
}

}  // namespace zelk::synthetic
