#!/bin/sh
# What the kernel complained of lately: how often, of what kind, and the texts.
#
#   KMSG_HOURS   how far back to look; default 24
#
# A window, not all since boot: a node that had its memory replaced last month is
# not ill today. Only the kernel's own words count; a program can write to the
# same place, and the kernel marks what it wrote.

hours=${KMSG_HOURS:-24}
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools awk sort timeout env dmesg
need_file /proc/uptime
case $hours in
  '' | *[!0-9]* | ??????*) stop 2 "KMSG_HOURS is '$hours', expected whole hours" ;;
esac
# The tool tells of the running machine only.
[ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ] ||
  not_applicable "a recorded tree has no kernel messages"

log=$(bounded 10 env -i PATH="$PATH" LC_ALL=C dmesg -r)
case $?:$log in
  0:*) ;;
  124:*) stop 83 "incomplete: dmesg gave no answer in 10 s" ;;
  *"not permitted"* | *"ermission denied"*) no_permission "kernel messages (kernel.dmesg_restrict)" ;;
  *) stop 83 "incomplete: dmesg: $(printf '%s\n' "$log" | awk 'NF { print; exit }')" ;;
esac

# The first kind that fits counts. "link" is a network link that went down, "fs"
# a damaged file system, "warning" the kernel's own stack trace that it survived.
# Not counted are what drivers say at each start (a time-out that they set, that
# error reporting is on, an empty SATA port) and that something is well again.
# Of the codes of NVIDIA's driver (Xid) some tell of a program's own fault; they
# are a kind of their own, as are memory errors that could not be corrected.
read -r uptime _ <"$ROOT/proc/uptime"
# shellcheck disable=SC2016 # the dollars belong to awk
evidence=$(printf '%s\n' "$log" | awk -v uptime="$uptime" -v hours="$hours" '
  BEGIN {
    names = "xid xid_application sxid amdgpu mce edac edac_ue pcie oom lockup rcu_stall"
    names = names " hung_task oops warning nvme io fs lustre nfs_hang mlx5 thermal link segv"
    kinds = split(names, kind, " ")
    levels = split("emerg alert crit err warn", level_name, " ")
    begin = uptime - hours * 3600
  }
  function is_nvme(text) {
    return text ~ /^nvme / &&
           (text ~ /QID [0-9]+.*timeout|timeout, |controller is down|[Aa]bort|resetting controller/ ||
            text ~ /(reset|probe) failure|[Nn]ot ready|I\/O [Ee]rror|Disabling device/ ||
            (priority <= 4 && text ~ /[Ff]ailed/))
  }
  function is_mlx5(text) {
    return text ~ /^mlx5.*(error|fail|timeout|health|compromised|insufficient power)/ &&
           text !~ /succeeded|recovered|health reporter/
  }
  function kind_of(text) {
    if (text ~ /SXid/) return "sxid"
    if (text ~ /NVRM: Xid \(.*\): (13|31|43|45|68|69),/) return "xid_application"
    if (text ~ /NVRM: Xid/) return "xid"
    if (text ~ /amdgpu.*(GPU reset begin|GPU reset.*fail|ring .*time|job_timedout|ncorrectable)/) return "amdgpu"
    if (text ~ /[Tt]emperature (is )?above threshold|clock (is )?throttled/) return "thermal"
    if (text ~ /critical temperature reached|[Tt]hermal shutdown/) return "thermal"
    if (text ~ /EDAC .*[0-9]+ UE /) return "edac_ue"
    if (text ~ /\[Hardware Error\]|Machine [Cc]heck/) return "mce"
    if (text ~ /EDAC .*[0-9]+ CE /) return "edac"
    if (text ~ /AER: .*[Ee]rror|PCIe Bus Error|DPC: containment event/) return "pcie"
    if (text ~ /Killed process [0-9]+/) return "oom"
    if (text ~ /(soft|hard|[Ww]atchdog.*) (lockup|LOCKUP)/) return "lockup"
    if (text ~ /rcu.*(detected (expedited )?stall|self-detected)/) return "rcu_stall"
    if (text ~ /blocked for more than [0-9]+ seconds/) return "hung_task"
    if (text ~ /segfault at|^traps: /) return "segv"
    if (text ~ /kernel BUG at|BUG: |Oops:|general protection fault|Kernel panic|LBUG/) return "oops"
    if (text ~ /WARNING: CPU/) return "warning"
    if (is_nvme(text)) return "nvme"
    if (text ~ /I\/O error|critical (medium|target) error/ && text !~ /dev (fd|sr)[0-9]/) return "io"
    if (text ~ /^ata[0-9.]+: (exception Emask|failed command|hard resetting link)/) return "io"
    if (text ~ /EXT4-fs error|XFS .*([Cc]orruption|error|[Ss]hut)|BTRFS.*error/) return "fs"
    if (text ~ /^LustreError|^Lustre: .*(timed out|was lost|evict)|ptlrpc_expire_one_request/) return "lustre"
    if (text ~ /nfs: server .* not responding/) return "nfs_hang"
    if (is_mlx5(text)) return "mlx5"
    if (text ~ /Link is [Dd]own|[Ll]ink down/ && text !~ /^ata[0-9]/) return "link"
    return ""
  }
  # Hexadecimal words with a figure among them, of seven digits or more or behind
  # "at", "ip" and "sp": "succeeded" and "facade" are none.
  function without_addresses(text,    done, word, before) {
    done = before = ""
    while (match(text, /[0-9A-Za-z_]+/)) {
      word = substr(text, RSTART, RLENGTH)
      if (word ~ /^[0-9a-f]+$/ && word ~ /[0-9]/ && (length(word) > 6 || before ~ /^(at|ip|sp)$/))
        word = "#"
      done = done substr(text, 1, RSTART - 1) word
      text = substr(text, RSTART + RLENGTH)
      before = word
    }
    return done text
  }
  # Addresses, process numbers and amounts differ between nodes with one ailment.
  function without_numbers(text) {
    gsub(/0x[0-9a-fA-F]+/, "#", text)
    gsub(/\[[0-9]+\]/, "[#]", text)
    gsub(/[Pp]rocess [0-9]+/, "process #", text)
    gsub(/pid[ =:]+[0-9]+/, "pid #", text)
    gsub(/:[0-9]+ blocked for more than [0-9]+/, ":# blocked for more than #", text)
    gsub(/:[0-9]+\]$/, ":#]", text)
    gsub(/sector [0-9]+/, "sector #", text)
    text = without_addresses(text)
    gsub(/[0-9]+(kB|s!)/, "#", text)
    gsub(/\[[0-9a-f#]+[,+][0-9a-f#]+(\+[0-9a-f#]+)?\]/, "[#]", text)
    return text
  }
  match($0, /^<[0-9]+>\[ *[0-9]+\.[0-9]+\](\[ *[TC][0-9]+\])? ?/) {
    text = substr($0, RLENGTH + 1)
    head = substr($0, 1, RLENGTH)
    split(head, part, /[][<>]+/)
    priority = part[2] + 0
    seconds = part[3] + 0
    if (!records++) first = seconds
    if (priority >= 8 || seconds < begin) next
    if (priority < levels) count_level[priority]++
    class = kind_of(text)
    if (class != "") count_kind[class]++
    if (class == "" && priority > 3) next
    text = (class == "" ? "other" : class) " " without_numbers(text)
    if (!(text in seen)) { if (texts == 200) { more++; next } texts++ }
    seen[text]++
  }
  END {
    print "A kmsg.window: " hours " h"
    print "B kmsg.records: " records + 0
    print "C kmsg.covers_window: " ((first <= begin || first < 1) && records ? "yes" : "no")
    for (i = 1; i <= levels; i++) print "D" i " kmsg.level." level_name[i] ": " count_level[i - 1] + 0
    for (i = 1; i <= kinds; i++) print "E" 100 + i " kmsg.class." kind[i] ": " count_kind[kind[i]] + 0
    for (text in seen) print "F kmsg.text: " text ": " seen[text] " times"
    if (more) print "G skipped: kmsg.text: " more " more messages"
  }' | sort)
printf '%s\n' "$evidence" | while read -r _ line; do printf '%s\n' "$line"; done
finish
