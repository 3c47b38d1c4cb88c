#!/usr/bin/env bash
# The Debian packages on a Debian that has nothing else: installed, README's program compiled and run by a plain user, the tool
# used, removed and purged.
# usage: scripts/with-bare tests/release/debian_test.sh FOLDER     FOLDER: where the packages are
set -euo pipefail
cd "$(dirname "$0")/../.."
root=$NERIO_BARE_ROOT
mkdir "$root/packages" "$root/program"
cp "$1"/*.deb "$root/packages/"
rm -f "$root"/packages/*-dbgsym_*
fail() {
  echo "FAILED: $*" >&2
  exit 1
}
in_root() { env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"; }
as_user() { env -i PATH=/usr/bin:/bin HOME=/home/anna /usr/sbin/chroot --userspec=anna:anna "$root" "$@"; }
apt() { in_root apt-get -q -y --no-install-recommends "$@"; }
# expect WHAT WANTED GIVEN
expect() { [ "$2" = "$3" ] || fail "$1: '$3' instead of '$2'"; }

echo '== lintian'
lintian --allow-root --fail-on error "$root"/packages/*.deb

echo '== install'
apt update >/dev/null
in_root sh -c 'apt-get -q -y --no-install-recommends install /packages/libnerio[0-9]*.deb /packages/nerio_*.deb' >"$root/log" ||
  fail "the packages do not install: $(tail "$root/log")"
names=$(in_root dpkg-query -W -f '${Package}\n' '*nerio*' | paste -sd ' ')
[[ $names =~ ^libnerio[0-9.]+\ nerio$ ]] || fail "installed: $names"
[ ! -e "$root/var/lib/nerio" ] || fail 'the packages made a registry'
cmp LICENSE "$root/usr/share/doc/nerio/LICENSE"
for document in README.md CHANGELOG.md docs/start-admin.md; do
  [ -s "$root/usr/share/doc/nerio/$document" ] || fail "no $document"
done
for package in $names; do
  grep -q 'Permission is hereby granted' "$root/usr/share/doc/$package/copyright" || fail "no licence of $package"
done

echo '== README in a program: pkg-config, CMake'
in_root sh -c 'apt-get -q -y --no-install-recommends install /packages/libnerio-dev_*.deb g++ cmake make pkg-config' >"$root/log" ||
  fail "libnerio-dev does not install: $(tail "$root/log")"
{
  sed -n '/^## In a program/,/^Texts are/p' README.md | sed -n '/^```cpp/,/^```/p' | sed '/^```/d' >"$root/program/block"
  grep '^#include' "$root/program/block"
  echo 'int main() {'
  grep -v '^#include' "$root/program/block"
  echo '}'
} >"$root/program/main.cpp"
cat >"$root/program/CMakeLists.txt" <<'PROJECT'
cmake_minimum_required(VERSION 3.22)
project(Program CXX)
find_package(Nerio REQUIRED)
add_executable(by_cmake main.cpp)
target_link_libraries(by_cmake PRIVATE Nerio::nerio)
PROJECT
in_root useradd --create-home anna
in_root chown -R anna:anna /program
as_user sh -e >"$root/log" 2>&1 <<'PROGRAM' || fail "the program: $(cat "$root/log")"
cd /program
g++ -std=c++20 main.cpp $(pkg-config --cflags --libs nerio) -o by_pkg_config
cmake -B build && cmake --build build
./by_pkg_config
PROGRAM
expect 'after the program of pkg-config' Anna "$(as_user nerio reg get 'HKLM\Software\Nerio\App' Nome)"
as_user nerio reg delete 'HKLM\Software\Nerio\App' --yes >/dev/null
as_user /program/build/by_cmake
expect 'after the program of CMake' Anna "$(as_user nerio reg get 'HKLM\Software\Nerio\App' Nome)"

echo '== the machine'\''s registry'
in_root groupadd --system nerio
in_root nerio reg init --group nerio >/dev/null
in_root nerio reg set 'HKLM\Software\Nerio\Posta' Server posta.example.org >/dev/null
expect 'the machine'\''s setting' posta.example.org "$(in_root nerio reg get 'HKLM\Software\Nerio\Posta' Server)"
[ -e "$root/usr/share/man/man1/nerio.1.gz" ] || fail 'no manual page'

echo '== remove, purge, install again'
settings() { (cd "$root" && find var/lib/nerio home/anna/.local -type f -exec sha256sum {} + | sort); }
before=$(settings)
for step in remove purge; do
  said=$(in_root sh -c "apt-get -q -y $step \$(dpkg-query -W -f '\${Package} ' '*nerio*')" 2>&1)
  for place in /var/lib/nerio/registry '~/.local/share/nerio/registry'; do
    grep -qF "$place" <<<"$said" || fail "$step does not say $place: $said"
  done
  expect "the settings after $step" "$before" "$(settings)"
  left=$(find "$root/usr" "$root/etc" -iname '*nerio*')
  expect "left after $step" '' "$left"
  in_root sh -c 'apt-get -q -y install /packages/*.deb' >/dev/null
  expect "after $step and another installation" posta.example.org "$(in_root nerio reg get 'HKLM\Software\Nerio\Posta' Server)"
done
echo 'the Debian packages: as expected'
