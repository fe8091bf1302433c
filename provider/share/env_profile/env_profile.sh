#!/bin/sh
# The environment that a login gives: names of all variables, and values of those
# that decide which programs and libraries run and how they use the machine.
#
# Other values stay on the node: people keep passwords and tokens there. Two
# environments are told: `login` is what the system's profile gives to anybody,
# `start` is what this script was started with, which depends on the way.

mask_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/mask.sh"
need_tools timeout env cat tr awk sort sh

# A variable a line: the kernel ends each with a NUL, so that a line inside a
# value cannot pass for another variable. The program that opens the file must be
# the one whose environment it is.
one_a_line='cat /proc/self/environ | tr "\n\0" " \n"'

# show_variables WORD: of the variables on standard input. Those that begin with
# ZELK_ are made by who starts this script.
# shellcheck disable=SC2016 # the dollars belong to awk
show_variables() {
  awk -v word="$1" "$mask_awk"'
    {
      equals = index($0, "=")
      name = substr($0, 1, equals - 1)
      if (name !~ /^[A-Za-z_][A-Za-z0-9_]*(%%|\(\))?$/ || name ~ /^(_$|ZELK_)/) next
      print word ".name: " name
      if (name ~ /^(PATH|LD_LIBRARY_PATH|LD_PRELOAD|MANPATH|MODULEPATH|LANG|LANGUAGE|LC_[A-Z]+|TZ)$/ ||
          name ~ /^(OMP|GOMP|KMP|MKL|OPENBLAS|BLIS|NCCL|RCCL|UCX|FI|RDMAV|MLX5|HSA|MALLOC)_[A-Z0-9_]+$/ ||
          name ~ /^(CUDA|ROCR|HIP)_(VISIBLE_DEVICES|DEVICE_ORDER|DEVICE_MAX_CONNECTIONS)$/)
        print word ".value: " name "=" (is_secret_name(name) ? "(masked)" : mask_text(substr($0, equals + 1)))
    }' | sort
}

# The home is "/", so that only the system's own profile is read: a user's home
# may be remote and dead. A profile may print things, so a mark tells where the
# variables begin. What it waits for gets 10 s.
login_seconds=10
show_login() {
  for login_shell in bash sh; do
    command -v "$login_shell" >/dev/null 2>&1 && break
  done
  printf 'login.shell: %s\n' "$login_shell"
  login=$(bounded "$login_seconds" env -i PATH="$PATH" HOME=/ TERM=dumb \
    "$login_shell" -l -c "printf '\\n\\001variables\\n'; $one_a_line")
  case $? in
    0) ;;
    124)
      printf 'unreadable: login: no answer in %s s\n' "$login_seconds"
      incomplete "the login shell gave no answer in $login_seconds s"
      return
      ;;
    *) incomplete "the login shell ended with an error" ;;
  esac
  printf '%s\n' "$login" | awk '
    begun { print }
    $0 == "\001variables" { begun = 1 }' | show_variables login
}

# A login speaks of the running machine, so it is left out of a recorded tree.
if [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ]; then show_login; fi

# What this shell was started with is still there after the cut at its start.
environ=$ROOT/proc/$$/environ
[ -z "$ROOT" ] || environ=$ROOT/proc/self/environ
if [ -r "$environ" ]; then
  tr '\n\0' ' \n' <"$environ" | show_variables start
else
  incomplete "/proc/self/environ"
fi
finish
