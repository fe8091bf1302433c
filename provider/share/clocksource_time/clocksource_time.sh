#!/bin/sh
# The clock the kernel reads, and how well the time is kept in step.

tool_output=
tool_status=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/devices/system/clocksource/clocksource0/current_clocksource

clock=$ROOT/sys/devices/system/clocksource/clocksource0
list_present "$clock/current_clocksource" "$clock/available_clocksource" |
  print_files || incomplete "files of clocksource0"
in_step=
# says WORD: one of those who may know tells whether the clock is in step; one
# "yes" is enough. chronyd leaves the kernel's mark alone unless it is told to
# set the hardware clock too, so a "no" of the kernel alone means little.
says() {
  [ "$in_step" = yes ] || in_step=$1
}

run_tool timedatectl show
case $tool_output in
  *NTPSynchronized=yes*) says yes ;;
  *NTPSynchronized=no*) says no ;;
esac

# ask_kernel: what adjtimex(2) has in its field `status`, in
# `kernel_status`, with whatever this machine has to ask it: its own tool, that of
# a time daemon, or the call itself.
# shellcheck disable=SC2016 # the dollars belong to awk and perl
ask_kernel() {
  if command -v adjtimex >/dev/null 2>&1; then
    ask_tool adjtimex --print
    kernel_status=$(printf '%s\n' "$tool_output" | awk '$1 == "status:" { print $2; exit }')
  elif command -v ntptime >/dev/null 2>&1; then
    ask_tool ntptime
    # It ends with 1 while the clock is not in step.
    kernel_status=$(printf '%s\n' "$tool_output" | awk '
      $1 == "status" && $2 ~ /^0x[0-9a-fA-F]+$/ {
        digits = tolower(substr($2, 3))
        for (i = 1; i <= length(digits); i++)
          sum = sum * 16 + index("0123456789abcdef", substr(digits, i, 1)) - 1
        print sum
        exit
      }')
  elif command -v perl >/dev/null 2>&1 && command -v uname >/dev/null 2>&1; then
    case $(uname -m) in
      x86_64) call=159 ;;
      aarch64 | riscv64) call=171 ;;
      ppc64le) call=124 ;;
      *) return ;;
    esac
    # Nothing is set: `modes`, the first field, is 0.
    ask_tool perl -e '$t = "\0" x 512; exit 1 if syscall('"$call"', $t) < 0;
      print unpack("x40 i", $t), "\n"'
    kernel_status=$tool_output
  fi
  case $kernel_status in
    *[!0-9]*) kernel_status= ;;
  esac
}
kernel_status=
if [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ]; then ask_kernel; fi
# 64 is STA_UNSYNC.
if [ -z "$kernel_status" ]; then
  printf 'unreadable: kernel_clock.synchronised: no adjtimex, ntptime or perl\n'
elif [ $((kernel_status / 64 % 2)) -eq 1 ]; then
  printf 'kernel_clock.synchronised: no\n'
  says no
else
  printf 'kernel_clock.synchronised: yes\n'
  says yes
fi

# -n: a name server that does not answer must not stall the question.
run_tool chronyc -n tracking
case $tool_status:$tool_output in
  0:*Leap\ status*:*Normal*) says yes ;;
  0:*Leap\ status*:*) says no ;;
esac
case $tool_status in
  0) printf 'time.daemon: chronyd answers\n' ;;
  127) printf 'unreadable: time.daemon: no chronyc\n' ;;
  *) printf 'time.daemon: chronyd does not answer\n' ;;
esac
if [ -n "$in_step" ]; then
  printf 'time.in_step: %s\n' "$in_step"
else
  printf 'unreadable: time.in_step: nobody here knows\n'
fi
finish
