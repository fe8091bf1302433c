#!/bin/bash
# Figures of the performance providers beside those of other people's tools, on
# this machine, in turns, the best of several rounds each.
#
#   performance_providers.sh ROOT [ROUNDS [PART...]]
#
# ROOT is an installed tree, a PART is memory, arithmetic, clocks or disk.
#
# Prints a line for each figure: ours, the tool's, by how much ours is off, and
# whether that is within 5 %. A tool that is not installed is left out and named.
# Debian packages: likwid (memory), python3-numpy with libopenblas0-pthread and
# libblis4-pthread (arithmetic: the faster one counts), stress-ng and rt-tests
# (clock, wake-ups), fio (disk).
#
# Everything runs with real-time priority where that is allowed, so that other
# work on the machine does not decide who wins; in turns (-r), since threads that
# wait for each other by looking would else shut each other out.
set -u
[ $# -ge 1 ] || { sed -n '2,18s/^# \{0,1\}//p' "$0"; exit 2; }
share=$(cd "$1" && pwd)/provider/share
rounds=${2:-3}
parts=(memory arithmetic clocks disk)
[ $# -lt 3 ] || parts=("${@:3}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
first=$(taskset -cp $$ | sed 's/.*: //; s/[-,].*//')
first_two=$(taskset -cp $$ | sed 's/.*: //')
urgent=(timeout 60)
chrt -r 1 true 2>/dev/null && urgent=(chrt -r 1 timeout 60)
have() { command -v "$1" >/dev/null 2>&1; }

# ours NAME LINE [WORD...]: the number of a line of a provider's output.
ours() {
  local name=$1 line=$2
  shift 2
  env "$@" "${urgent[@]}" ${pinned:+taskset -c "$first"} \
    "$share/$name/$name.sh" | sed -n "s/^$line: \([0-9.]*\) .*/\1/p"
}

# best HIGHER|LOWER: of the numbers on standard input, one a line.
best() {
  if [ "$1" = higher ]; then sort -g | tail -n 1; else sort -g | head -n 1; fi
}

# compare NAME UNIT HIGHER|LOWER TOOL OURS REFERENCE: the last two are commands
# that print a number.
compare() {
  local name=$1 unit=$2 better=$3 tool=$4 mine=$5 theirs=$6 round
  : >"$work/mine"
  : >"$work/theirs"
  for ((round = 0; round < rounds; round++)); do
    $mine >>"$work/mine"
    $theirs >>"$work/theirs"
  done
  awk -v name="$name" -v unit="$unit" -v tool="$tool" -v better="$better" \
    -v mine="$(best "$better" <"$work/mine")" \
    -v theirs="$(best "$better" <"$work/theirs")" 'BEGIN {
      if (theirs + 0 == 0 || mine + 0 == 0) { printf "%-24s no figure (%s: %s)\n", name, tool, theirs; exit }
      off = (mine - theirs) / theirs * 100
      verdict = (off >= -5 && off <= 5) ? "within 5 %" : "NOT within 5 %"
      if (verdict ~ /NOT/ && (better == "higher") == (off > 0)) verdict = verdict ", ours is better"
      printf "%-24s %10.1f %10.1f %-8s %+6.1f %%  %s  [%s]\n", name, mine, theirs, unit, off, verdict, tool
    }'
}

without() { printf '%-24s no reference: %s is not installed\n' "$1" "$2"; }

# --- memory ------------------------------------------------------------------

stream_mib=128
our_stream() { pinned=$1 ours stream_triad "stream\.$2\.best" STREAM_ARRAY_MIB=$stream_mib STREAM_SECONDS=3; }
# A few passes at a time, of which the best counts, as ours counts them.
likwid() {  # KERNEL ARRAYS THREADS
  local turn
  for ((turn = 0; turn < 6; turn++)); do
    "${urgent[@]}" likwid-bench -t "$1" -w "N:$(($2 * stream_mib * 1048576 / 1000))kB:$3" -i 3 2>/dev/null |
      sed -n 's/^MByte\/s:[[:space:]]*//p'
  done | best higher
}
our_core_copy() { our_stream yes core.copy; }
our_core_triad() { our_stream yes core.triad; }
our_node_triad() { our_stream '' node.triad; }
their_core_copy() { likwid copy_sse 2 1; }
their_core_triad() { likwid stream_sse 3 1; }
their_node_triad() { likwid stream_sse 3 "$(nproc)"; }

memory() {
  if ! have likwid-bench; then without memory likwid; return; fi
  compare "copy, one core" MB/s higher likwid-bench our_core_copy their_core_copy
  compare "triad, one core" MB/s higher likwid-bench our_core_triad their_core_triad
  compare "triad, all cores" MB/s higher likwid-bench our_node_triad their_node_triad
}

# --- arithmetic --------------------------------------------------------------

our_dgemm() { pinned=yes ours dgemm_hpl_mini 'dgemm\.turn\.best' DGEMM_SECONDS=2 DGEMM_SIZE=1152; }
# Both libraries are older than some processors, do not know them and take slow
# kernels: they are asked with theirs and with those of 512 bits.
their_dgemm() {
  {
    blas OPENBLAS_NUM_THREADS=1 "$openblas"
    blas OPENBLAS_NUM_THREADS=1 OPENBLAS_CORETYPE=SKYLAKEX "$openblas"
    blas BLIS_NUM_THREADS=1 "$blis"
    blas BLIS_NUM_THREADS=1 BLIS_ARCH_TYPE=0 "$blis"
  } | best higher
}
blas() {  # ASSIGNMENT... LIBRARY
  [ -e "${*: -1}" ] || return 0
  env "${@:1:$#-1}" "${urgent[@]}" taskset -c "$first" /usr/bin/python3 - "${@: -1}" <<'END'
import ctypes
import sys
import time
import numpy

size = 1152
a, b = (numpy.asfortranarray(numpy.random.rand(size, size)) for _ in "ab")
c = numpy.zeros((size, size), order="F")
n, one, zero = ctypes.c_int(size), ctypes.c_double(1), ctypes.c_double(0)
data = [ctypes.c_void_p(array.ctypes.data) for array in (a, b, c)]
arguments = [b"N", b"N", ctypes.byref(n), ctypes.byref(n), ctypes.byref(n),
             ctypes.byref(one), data[0], ctypes.byref(n), data[1],
             ctypes.byref(n), ctypes.byref(zero), data[2], ctypes.byref(n)]
dgemm = ctypes.CDLL(sys.argv[1]).dgemm_
best, end = 1e9, time.time() + 1
while time.time() < end:
    start = time.perf_counter()
    dgemm(*arguments)
    best = min(best, time.perf_counter() - start)
assert numpy.allclose(c, a @ b)
print(2 * size**3 / best / 1e9)
END
}

arithmetic() {
  local folder
  folder=/usr/lib/$(uname -m)-linux-gnu
  openblas=$folder/libopenblas.so.0 blis=$folder/blis-pthread/libblis.so.4
  if ! /usr/bin/python3 -c 'import numpy' 2>/dev/null; then
    without arithmetic python3-numpy
  elif ! [ -e "$blis" ] && ! [ -e "$openblas" ]; then
    without arithmetic "libblis4-pthread or libopenblas0-pthread"
  else
    compare "dgemm, one core" GFLOP/s higher \
      "the faster of BLIS and OpenBLAS" our_dgemm their_dgemm
  fi
}

# --- clock and scheduling ----------------------------------------------------

our_clock() { pinned=yes ours latency_jitter 'jitter\.clock_gettime' JITTER_SECONDS=0.5; }
their_clock() {
  "${urgent[@]}" taskset -c "$first" stress-ng --vdso 1 --vdso-func clock_gettime -t 1 --metrics 2>&1 |
    sed -n 's/.* vdso *\([0-9.]*\) nanosecs per call.*/\1/p'
}
our_wake_up() { pinned=yes ours latency_jitter 'jitter\.wakeup\.least' JITTER_SECONDS=4; }
their_wake_up() {
  "${urgent[@]}" cyclictest -q -i 500 -l 2000 -a "$first" -t 1 -p 1 --default-system 2>/dev/null |
    sed -n 's/.*Min: *\([0-9]*\) .*/\1/p'
}

clocks() {
  if have stress-ng; then
    compare "clock_gettime" ns lower "stress-ng --vdso" our_clock their_clock
  else
    without clock_gettime stress-ng
  fi
  if have cyclictest; then
    compare "wake-up, least" us lower cyclictest our_wake_up their_wake_up
  else
    without wake-up rt-tests
  fi
  echo "fork and exec            no tool of Debian measures it"
}

# --- disk --------------------------------------------------------------------

file_mib=512
# "write" and "read" are a line each of one run.
our_disk() { pinned='' ours disk_fs_rw "disk\.0\.$1" DISK_DIRECTORIES="$work" DISK_SECONDS=8 DISK_FILE_MIB=$file_mib; }
fio_field() {  # FIELD ARGUMENT...
  local field=$1
  shift
  "${urgent[@]}" fio --name=x --filename="$work/fio.data" --size=${file_mib}M --direct=1 \
    --ioengine=psync --output-format=terse --terse-version=3 "$@" 2>/dev/null | cut -d';' -f "$field"
}
in_mb() { awk '{ print $1 * 1024 / 1e6 }'; }
our_write() { our_disk write; }
our_read() { our_disk read; }
our_sync() { our_disk sync; }
# As ours: into a new file, each page marked, the rest of the data the same.
their_write() {
  rm -f "$work/fio.data"
  fio_field 48 --rw=write --bs=1M --end_fsync=1 --fallocate=none | in_mb
}
their_read() { fio_field 7 --rw=read --bs=1M | in_mb; }
their_sync() { fio_field 49 --rw=write --bs=4k --fdatasync=1 --runtime=1 --time_based; }

disk() {
  if ! have fio; then without disk fio; return; fi
  compare "write, 1 MiB, direct" MB/s higher fio our_write their_write
  compare "read, 1 MiB, direct" MB/s higher fio our_read their_read
  compare "write and sync, 4 KiB" ops/s higher fio our_sync their_sync
}

printf '%s, %s processors (%s), load %s, %s\n' "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1)" \
  "$(nproc)" "$first_two" "$(cut -d' ' -f1-3 /proc/loadavg)" "${urgent[*]}"
printf '%-24s %10s %10s\n' '' ours theirs
for part in "${parts[@]}"; do "$part"; done
