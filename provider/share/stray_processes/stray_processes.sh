#!/bin/sh
# What runs on the node besides the system: processes of ordinary users by
# number of user and name of program, the load, and how long work had to wait.
#
# Whether there should be any depends on what the node is doing, so the steps of
# batch systems that run here are counted too. The chain of processes that
# started this script is left out. Command lines stay on the node.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs sh timeout grep awk sort id
run_within 60
[ -e "$ROOT/proc/loadavg" ] || not_applicable "/proc/loadavg is not on this machine"
# Every machine has a first process, and hidepid hides it with the others.
[ -r "$ROOT/proc/1/status" ] || no_permission "/proc hides the processes of others"

printf 'uid: %s\n' "$(id -u)"
list_present "$ROOT/proc/loadavg" "$ROOT/proc/pressure/cpu" "$ROOT/proc/pressure/memory" \
  "$ROOT/proc/pressure/io" | print_files || incomplete "files of load"
[ -d "$ROOT/proc/pressure" ] || missing /proc/pressure

# Accounts of people begin here, unless the system says otherwise; 65534 is
# nobody.
least_uid=1000
# shellcheck disable=SC2016 # the dollars belong to awk
login_defs=$(print_etc optional /etc/login.defs) || incomplete /etc/login.defs
printf '%s\n' "$login_defs" | awk '/^unreadable: /'
said_uid=$(printf '%s\n' "$login_defs" | awk '
  $1 == "/etc/login.defs:" && $2 == "UID_MIN" && $3 ~ /^[0-9]+$/ { print $3; exit }')
least_uid=${said_uid:-$least_uid}
printf 'users.least_number: %s\n' "$least_uid"

# Processes end while they are listed, so files that are gone are no error.
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\0' "$ROOT"/proc/[0-9]*/status |
  xargs -0 grep -h -a -E '^(Name|Pid|PPid|Uid|VmRSS):' 2>/dev/null |
  awk -v self="$$" -v least="$least_uid" '
    $1 == "Name:" { name = $0; sub(/^Name:[ \t]*/, "", name); gsub(/[ \t]/, "_", name) }
    $1 == "Pid:" { pid = $2; names[pid] = name; count++ }
    $1 == "PPid:" { parent[pid] = $2 }
    $1 == "Uid:" { uid[pid] = $3 }
    $1 == "VmRSS:" { rss[pid] = $2 }

    END {
      for (pid = self; pid in parent && pid > 1; pid = parent[pid]) chain[pid]
      for (pid in names) {
        if (names[pid] ~ /^(slurmstepd|sge_shepherd|flux-shell|prted|orted|pbs_mom_job|condor_starter)$/)
          steps[names[pid]]++
        if (uid[pid] < least || uid[pid] == 65534 || pid in chain) continue
        if (is_child_of_self(pid)) continue
        kind = uid[pid] " " names[pid]
        number[kind]++
        memory[kind] += rss[pid]
        strays++
        stray_memory += rss[pid]
      }
      print "processes.count: " count + 0
      print "processes.of_users: " strays + 0
      printf "processes.of_users_kib: %.0f\n", stray_memory
      for (kind in number) printf "process: %s x %d %.0f\n", kind, number[kind], memory[kind]
      for (step in steps) print "job_step: " step " x " steps[step]
    }

    function is_child_of_self(pid,    i) {
      for (i = 0; i < 100 && pid in parent && pid > 1; i++) {
        if (pid == self) return 1
        pid = parent[pid]
      }
      return 0
    }' | sort || incomplete "processes"
finish
