# Installs what tools/packages.txt names. Sourced by quickstart and run-tests:
#
#   setup_packages build        or        setup_packages build test
#
# Installs only what is missing, as root or through sudo. Where there is no
# apt-get it prints the list and goes on when everything on it is there already.
# shellcheck shell=bash
: "${source_dir:?the root of the checkout}"

heading() { printf '\n== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# listed COLUMN SECTION...: that column of the list (2: package, 3: probe).
listed() {
  local column=$1
  shift
  awk -v column="$column" -v sections=" $* " \
    '!/^#/ && NF == 3 && index(sections, " " $1 " ") { print $column }' \
    "$source_dir/tools/packages.txt"
}

probe() {
  case $1 in
    pkg:*) pkg-config --exists "${1#pkg:}" ;;
    py:*) /usr/bin/python3 -c "import ${1#py:}" ;;
    *) command -v "$1" || test -e "$1" ;;
  esac >/dev/null 2>&1
}

installed() {
  test "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "needs root for: $*"
  fi
}

setup_without_apt() {
  local missing=() wanted
  echo "apt-get is not here. These Debian packages, or what stands for them" \
    "on this system, are needed:"
  listed 2 "$@" | sed 's/^/  /'
  while read -r wanted; do
    probe "$wanted" || missing+=("$wanted")
  done < <(listed 3 "$@")
  [ ${#missing[@]} -eq 0 ] || die "not found here: ${missing[*]}"
  echo "All of them are here."
}

# Some packages of the tests are daemons that the package would start: a policy
# of the system's own stays, else one is there for as long as COMMAND runs.
without_daemons() {
  local policy=/usr/sbin/policy-rc.d status=0
  if [ -e "$policy" ]; then
    "$@"
    return
  fi
  printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
  as_root chmod 755 "$policy"
  "$@" || status=$?
  as_root rm -f "$policy"
  return "$status"
}

setup_packages() {
  local missing=() package
  if ! command -v apt-get >/dev/null; then
    setup_without_apt "$@"
    return
  fi
  while read -r package; do
    installed "$package" || missing+=("$package")
  done < <(listed 2 "$@")
  if [ ${#missing[@]} -eq 0 ]; then
    echo "Every package is installed already."
    return
  fi
  echo "Installing: ${missing[*]}"
  as_root apt-get update -qq </dev/null || die "apt-get update failed"
  without_daemons as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" \
    </dev/null >"$source_dir/build/apt.log" 2>&1 ||
    { cat "$source_dir/build/apt.log" >&2; die "apt-get install failed"; }
}

# A build folder that "sudo ./quickstart" made belongs to root, and the same
# command without sudo could not write into it: give it to the tree's owner.
give_build_to_owner() {
  [ "$(id -u)" -eq 0 ] && [ -d "$source_dir/build" ] || return 0
  chown -R --reference="$source_dir" "$source_dir/build"
}

# The compiler cache makes a second build quick; nothing needs it.
cmake_launcher() {
  if command -v ccache >/dev/null; then
    echo "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
  fi
}
