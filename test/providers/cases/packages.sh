# shellcheck shell=sh
# Stand-ins for the package managers print what the real ones print.

# A folder of tools with only this manager beside the base tools.
tree_packages() {
  put "$1/etc/os-release" 'ID=test\n'
  packages_tools=$scratch/packages
  for tool in timeout env sh awk sort cat sleep; do
    mkdir -p "$packages_tools/none"
    ln -s "$(command -v "$tool")" "$packages_tools/none/$tool"
  done
  for manager in dpkg-query rpm apk pacman; do
    cp -R "$packages_tools/none" "$packages_tools/$manager"
  done
  put_tool "$packages_tools/dpkg-query/dpkg-query" 'cat <<END
package|ii |zlib1g|amd64|1:1.2.13.dfsg-1|
package|ii |adduser|all|3.134|
package|iF |broken|amd64|2.0|
package|rc |gone|amd64|1.0|
END'
  put_tool "$packages_tools/rpm/rpm" 'cat <<END
warning: Found bdb_ro Packages database while attempting sqlite backend
package|kernel|x86_64|5.14.0-1.el9|
package|kernel|x86_64|5.14.0-2.el9|
package|gpg-pubkey|(none)|1d997668-61bae63b|
package|bind-libs|x86_64|32:9.16.23-1.el9|
END'
  put_tool "$packages_tools/apk/apk" 'printf "musl-1.2.4-r2\nca-certificates-bundle-20230506-r0\n"'
  put_tool "$packages_tools/pacman/pacman" 'printf "zlib 1:1.3-1\nbash 5.2.015-1\n"'
  cp -R "$packages_tools/rpm" "$packages_tools/locked"
  cp -R "$packages_tools/apk" "$packages_tools/hung"
  for manager in dpkg-query rpm pacman; do
    put_tool "$packages_tools/hung/$manager" 'trap "" TERM; echo "package|half|amd64|1.0|"; sleep 60'
  done
  put_tool "$packages_tools/locked/rpm" 'echo "error: cannot open Packages database" >&2; exit 1'
}

with_tools() { shell="env ZELK_PROVIDER_PATH=$packages_tools/$1"; }

test_packages() {
  with_tools dpkg-query
  check "packages: dpkg" gives 0 packages "package: zlib1g amd64 1:1.2.13.dfsg-1"
  check "packages: count" gives 0 packages "packages.count: 2"
  check "packages: half installed" gives 0 packages "package_state: broken amd64 2.0 iF"
  check "packages: removed ones are gone" lacks packages gone
  with_tools rpm
  check "packages: rpm, two versions" gives 0 packages "package: kernel x86_64 5.14.0-1.el9"
  check "packages: rpm, an epoch" gives 0 packages "package: bind-libs x86_64 32:9.16.23-1.el9"
  check "packages: rpm, no architecture" gives 0 packages "package: gpg-pubkey - 1d997668-61bae63b"
  check "packages: rpm, a warning is no package" gives 0 packages \
    "failed: rpm: warning: Found bdb_ro Packages database while attempting sqlite backend"
  with_tools apk
  check "packages: apk" gives 0 packages "package: ca-certificates-bundle - 20230506-r0"
  with_tools pacman
  check "packages: pacman" gives 0 packages "package: bash - 5.2.015-1"
  with_tools locked
  check "packages: a database that is locked" gives 83 packages \
    "failed: rpm: error: cannot open Packages database"
  check "packages: without all of them no count" gives 83 packages \
    "unreadable: packages.count: a package manager gave no full answer"
  shell="env ZELK_TIMEOUT=30 ZELK_PROVIDER_PATH=$packages_tools/hung"
  check "packages: managers that hang end before the time-out" gives_up_hung_managers
  with_tools none
  check "packages: no manager" gives 81 packages
  shell=
}

gives_up_hung_managers() {
  run packages
  [ "$status" -eq 83 ] || { echo "status $status"; return 1; }
  [ "$ticks" -lt 3000 ] || { echo "took $ticks hundredths of a second"; return 1; }
  for manager in dpkg-query rpm pacman; do
    [ "$(grep -c "^unreadable: $manager: no" "$scratch/out")" -eq 1 ] || { cat "$scratch/out"; return 1; }
  done
  grep -q -x 'package: musl - 1.2.4-r2' "$scratch/out" || { echo "the one that answers is not there"; return 1; }
  ! grep 'half\|packages.count: [0-9]' "$scratch/out"
}
