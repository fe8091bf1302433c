# Slurm on the hosts: the controller on the head, which runs no jobs itself.
# Sourced by cluster.sh.
# shellcheck shell=bash disable=SC2154,SC2016  # cluster.sh has the variables; what is
# quoted is for the shells of hosts

slurm() {
  local name
  command -v slurmctld slurmd munged srun >/dev/null ||
    { echo "skipped: Slurm is not installed"; exit 77; }
  write_slurm_files
  for name in $(all_names); do start_slurm_on "$name" & done
  wait
  wait_until all_idle || { tail -n 20 "$dir"/log/slurm*; die "slurm: not ready"; } >&2
}

all_idle() {
  [ "$(on_host head sinfo --noheader --states=idle --format=%D 2>/dev/null)" = "$(last_number)" ]
}

start_slurm_on() {
  local daemon=(slurmd)
  [ "$1" != head ] || daemon=(slurmctld -c)
  on_host "$1" bash -c 'mkdir -p /etc/slurm /run/munge /run/slurm &&
    cp /run/cluster/slurm/*.conf /etc/slurm &&
    cp /run/cluster/slurm/munge.key /run/munge/key && chmod 400 /run/munge/key &&
    munged --key-file=/run/munge/key --socket=/run/munge/munge.socket.2 \
      --pid-file=/run/munge/pid --seed-file=/run/munge/seed \
      --log-file=/run/munge/log && "$@" </dev/null' bash "${daemon[@]}"
}

write_slurm_files() {
  mkdir -p "$dir/slurm"
  head -c 1024 /dev/urandom >"$dir/slurm/munge.key"
  # Without it slurmd looks for a hierarchy of control groups and ends.
  echo "CgroupPlugin=cgroup/v1" >"$dir/slurm/cgroup.conf"
  cat >"$dir/slurm/slurm.conf" <<C
ClusterName=cluster
SlurmctldHost=head
SlurmUser=root
SlurmdUser=root
StateSaveLocation=/run/slurm/state
SlurmdSpoolDir=/run/slurm/spool
SlurmctldPidFile=/run/slurm/slurmctld.pid
SlurmdPidFile=/run/slurm/slurmd.pid
SlurmctldLogFile=/run/cluster/log/slurmctld
SlurmdLogFile=/run/cluster/log/slurmd.%h
# All hosts have the machine's processors; what is said here is what counts.
SlurmdParameters=config_overrides
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/linear
SchedulerType=sched/builtin
ReturnToService=2
KillWait=2
MpiDefault=none
NodeName=$(slurm_nodes) CPUs=2 RealMemory=512
PartitionName=all Nodes=ALL Default=YES OverSubscribe=YES State=UP
C
}

slurm_nodes() { all_names | sed 1d | paste -sd,; }
