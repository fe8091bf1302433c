// What is installed and set otherwise than on the others.

#include "test/synthetic/faults.h"

namespace zelk::synthetic {

namespace {

void one_sysctl(patient& ill) {
  ill.set("sysctl", "/proc/sys/vm/swappiness", "10");
}

void other_kernel(patient& ill) {
  ill.replace("uname_os", "6.1.0-28-amd64", "6.1.0-25-amd64");
  ill.set("sysctl", "/proc/sys/kernel/osrelease", "6.1.0-25-amd64");
  ill.replace("kernel_cmdline", "6.1.0-28-amd64", "6.1.0-25-amd64");
}

void new_kernel(patient& ill) {
  ill.replace("uname_os", "6.1.0-28-amd64", "6.1.0-31-amd64");
  ill.replace("uname_os", "6.1.119-1 (2024-11-22)", "6.1.128-1 (2025-02-07)");
  ill.set("sysctl", "/proc/sys/kernel/osrelease", "6.1.0-31-amd64");
  ill.replace("kernel_cmdline", "6.1.0-28-amd64", "6.1.0-31-amd64");
}

void kernel_parameter(patient& ill) {
  ill.add("kernel_cmdline", "parameter: mitigations=off");
}

void no_mitigation(patient& ill) {
  ill.set("cpu_mitigations",
          "/sys/devices/system/cpu/vulnerabilities/spectre_v2", "Vulnerable");
}

void missing_package(patient& ill) {
  ill.remove("packages", "package: jq ");
  ill.grow("packages", "packages.count", -1);
}

void old_package(patient& ill) {
  ill.replace("packages", "package: libcurl4 amd64 7.88.1-10+deb12u",
              "package: libcurl4 amd64 7.88.1-10+deb12u0+old");
}

void new_package(patient& ill) {
  ill.replace("packages", "package: util-linux amd64 2.38.1-5+deb12u",
              "package: util-linux amd64 2.38.1-6+deb12u");
}

void missing_module(patient& ill) {
  ill.remove("modules", "module: ib_uverbs");
  ill.grow("modules", "modules.count", -1);
}

void other_library(patient& ill) {
  ill.set("libs_tools", "mpirun", "mpirun (Open MPI) 4.1.2");
}

void read_only_mount(patient& ill) {
  ill.replace("mounts", "/scratch lustre rw,", "/scratch lustre ro,");
}

void other_nfs_options(patient& ill) {
  ill.replace("mounts", "/home nfs4 rw,relatime,vers=4.2,rsize=1048576",
              "/home nfs4 rw,relatime,vers=4.0,rsize=65536");
}

void missing_mount(patient& ill) {
  ill.remove("mounts", "/proc/self/mounts: 10.0.2.1@o2ib");
  ill.remove("fs_responsive", "filesystem: ok lustre /scratch");
  ill.set("fs_responsive", "filesystems.ok", "6");
}

void other_dns_server(patient& ill) {
  ill.replace("net_routes_dns", "nameserver 10.1.255.253",
              "nameserver 192.0.2.53");
}

void huge_pages(patient& ill) {
  ill.set("thp_hugepages",
          "/sys/kernel/mm/hugepages/hugepages-2048kB/nr_hugepages", "4096");
}

void transparent_pages(patient& ill) {
  ill.set("thp_hugepages", "/sys/kernel/mm/transparent_hugepage/enabled",
          "[always] madvise never");
}

void idle_state_disabled(patient& ill) {
  ill.set("cpuidle_smt", "cpuidle.state3.disable", "0-95: 1");
}

void other_munge_key(patient& ill) {
  ill.replace(
      "file_hashes",
      "a7f38f547d7df3ada3648a8476a3b6fccf5c6738dc2330351a4b797e039f44a9",
      "5feceb66ffc86f38d952786c6d696c79c2dbc239dd4e91b46729d73a27fb57e9");
}

void locked_memory_limit(patient& ill) {
  ill.replace("users_limits",
              "Max locked memory         unlimited            unlimited",
              "Max locked memory         8388608              8388608");
}

void other_path(patient& ill) {
  ill.replace("env_profile", "PATH=/usr/local/sbin", "PATH=/opt/old/bin");
}

void other_scheduler(patient& ill) {
  ill.set("block_devices", "/sys/block/nvme0n1/queue/scheduler",
          "none [mq-deadline] ");
  ill.replace("block_devices", "scheduler none", "scheduler mq-deadline");
}

void same_host_key(patient& ill) {
  const answer first = ill.answer_of_first("ssh_hostkeys");
  ill.remove("ssh_hostkeys", "hostkey: ");
  for (std::size_t from = 0; from < first.output.size();) {
    const std::size_t end = first.output.find('\n', from);
    ill.add("ssh_hostkeys", first.output.substr(from, end - from));
    from = end + 1;
  }
}

void same_ethernet_address(patient& ill) {
  ill.set("net_links", "/sys/class/net/eno1/address", "b8:ce:f6:00:00:2a");
}

}  // namespace

// A flat table.
std::vector<fault> system_faults() {
  using enum spread;
  using enum onset;
  using check::severity;
  const std::vector<std::string> a = {"compute_a"},
                                 any = {"compute_a", "compute_b", "gpu",
                                        "login"},
                                 ib = {"compute_a", "compute_b", "gpu"};
  return {
      {"one-sysctl",
       "vm.swappiness is 10, not 60",
       any,
       one,
       before,
       one_sysctl,
       {{}, {"sysctl.vm/swappiness"}}},
      {"other-kernel",
       "an older kernel",
       any,
       one,
       before,
       other_kernel,
       {{}, {"kernel.release", "sysctl.kernel/osrelease"}}},
      {"new-kernel-everywhere",
       "all compute machines were booted with a new kernel",
       a,
       all_compute,
       last_run,
       new_kernel,
       {{},
        {"kernel.release", "kernel.build", "sysctl.kernel/osrelease"},
        severity::informational},
       5},
      {"kernel-parameter",
       "mitigations=off on the kernel's command line",
       any,
       one,
       before,
       kernel_parameter,
       {{}, {"cmdline.mitigations"}}},
      {"no-mitigation",
       "no mitigation of spectre_v2",
       any,
       one,
       before,
       no_mitigation,
       {{}, {"vulnerability.spectre_v2"}}},
      {"missing-package",
       "a package is missing",
       any,
       one,
       before,
       missing_package,
       {{}, {"package.jq.*", "packages.count"}}},
      {"old-package",
       "an older version of a package",
       any,
       one,
       before,
       old_package,
       {{}, {"package.libcurl4.*"}}},
      {"new-package-everywhere",
       "a package was updated on all compute machines",
       a,
       all_compute,
       last_run,
       new_package,
       {{}, {"package.util-linux.*"}, severity::informational}},
      {"missing-module",
       "a kernel module is missing",
       ib,
       one,
       before,
       missing_module,
       {{}, {"modules", "modules.count"}}},
      {"other-library",
       "another version of MPI",
       any,
       one,
       before,
       other_library,
       {{}, {"tool.mpirun"}}},
      {"read-only-mount",
       "/scratch is mounted read-only",
       any,
       one,
       last_run,
       read_only_mount,
       {{}, {"mount./scratch.options"}}},
      {"other-nfs-options",
       "/home is mounted with other options",
       any,
       one,
       before,
       other_nfs_options,
       {{}, {"mount./home.options"}}},
      {"missing-mount",
       "/scratch is not mounted",
       ib,
       one,
       last_run,
       missing_mount,
       {{}, {"mount./scratch.*", "filesystem*"}}},
      {"other-dns-server",
       "another DNS server",
       any,
       one,
       before,
       other_dns_server,
       {{}, {"dns.*"}}},
      {"huge-pages",
       "4,096 huge pages are reserved",
       any,
       one,
       before,
       huge_pages,
       {{}, {"hugepages.*"}}},
      {"transparent-pages",
       "transparent huge pages for all",
       any,
       one,
       before,
       transparent_pages,
       {{}, {"thp.enabled"}}},
      {"idle-state-disabled",
       "deep idle states are disabled",
       a,
       one,
       before,
       idle_state_disabled,
       {{}, {"cpuidle.state3.disable"}}},
      {"other-munge-key",
       "another key of the batch system",
       any,
       one,
       before,
       other_munge_key,
       {{}, {"file./etc/munge/munge.key.sha256"}}},
      {"locked-memory-limit",
       "locked memory is limited",
       any,
       one,
       before,
       locked_memory_limit,
       {{}, {"limit.memlock.*"}}},
      {"other-path",
       "another search path of programs",
       any,
       one,
       before,
       other_path,
       {{}, {"login.*"}}},
      {"other-scheduler",
       "another scheduler of a disk",
       any,
       one,
       before,
       other_scheduler,
       {{}, {"disks.settings"}}},
      {"same-host-key",
       "two machines have the same SSH host keys",
       any,
       two,
       before,
       same_host_key,
       {{}, {"ssh.hostkey.*"}}},
      {"same-ethernet-address",
       "two machines have the same address",
       any,
       two,
       before,
       same_ethernet_address,
       {{}, {"net.eno1.address"}}},
  };
}

}  // namespace zelk::synthetic
