# shellcheck shell=sh
# An environment that holds secrets in several disguises; a profile that waits.

tree_env_profile() {
  put "$1/proc/self/environ" 'PATH=/usr/bin\000API=hunter2\000OMP_TOKEN=hunter2\000UCX_TLS=rc,self\000ODD=a\nPATH=/hunter2\000LD_PRELOAD=http://joe:hunter2@x/y.so\000=nameless\000bad name=1\000'
  put_tool "$scratch/login/bash" 'printf "Welcome\nPATH=/not/this\n\n\001variables\nLANG=C\nSECRET=hunter2\n"'
  put_tool "$scratch/login-dead/bash" 'trap "" TERM; sleep 30'
}

test_env_profile() {
  check "environment: a value that decides" gives 0 env_profile "start.value: UCX_TLS=rc,self"
  check "environment: a name" gives 0 env_profile "start.name: API"
  check "environment: a masked value" gives 0 env_profile "start.value: OMP_TOKEN=(masked)"
  check "environment: a masked user" gives 0 env_profile "start.value: LD_PRELOAD=http://(masked)@x/y.so"
  check "environment: a line in a value is no variable" gives 0 env_profile "start.value: PATH=/usr/bin"
  check "environment: no secret gets out" lacks env_profile hunter2
  shell="env ZELK_PROVIDER_PATH=$scratch/login:/usr/sbin:/usr/bin:/sbin:/bin"
  check "login: a variable" gives 0 env_profile "login.value: LANG=C"
  check "login: names only of the others" gives 0 env_profile "login.name: SECRET"
  check "login: what the profile prints is no variable" lacks env_profile '/not/this\|hunter2'
  shell="env ZELK_PROVIDER_PATH=$scratch/login-dead:/usr/sbin:/usr/bin:/sbin:/bin"
  check "login: a profile that waits" gives 83 env_profile "unreadable: login: no answer in 10 s"
  check "login: the other environment is there" gives 83 env_profile "start.name: API"
  shell=
}
