#!/usr/bin/env bash
# The registry on a machine of its own: root, a plain user, and README's first program of a user who has
# nothing but an empty home.
# usage: machine_registry_test.sh TOOL LIBRARY FIRST_PROGRAM
#   FIRST_PROGRAM   what docs/start-cpp.md has its reader write
# Run by root it has /var/lib for itself; other users run the first program alone, where the machine has no registry.
set -u
if [ "$(id -u)" = 0 ] && [ -z "${MACHINE_REGISTRY_TEST:-}" ]; then
  if unshare --mount true; then
    MACHINE_REGISTRY_TEST=1 exec unshare --mount "$0" "$@"
  fi
  echo "skipped: no right to mount"
  exit 77
fi
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
chmod 755 "$folder"
mkdir "$folder/bin"
cp "$1" "$3" "$folder/bin/" && cp -L "$2" "$folder/bin/" || exit 1
tool=$folder/bin/$(basename "$1") program=$folder/bin/$(basename "$3")
unset NERIO_REGISTRY XDG_DATA_HOME LC_ALL LC_TIME LC_NUMERIC
export LD_LIBRARY_PATH=$folder/bin LANG=C.UTF-8
cd "$folder" || exit 1
checks=0 failures=0

# Is WHAT WANTED GIVEN: WANTED is a pattern.
Is() {
  checks=$((checks + 1))
  # shellcheck disable=SC2053
  [[ $3 == $2 ]] && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n  wanted: %s\n  given:  %s\n' "$1" "$2" "$3"
}

if [ "$(id -u)" != 0 ]; then
  if [ -e /var/lib/nerio ]; then
    echo "skipped: this machine has a registry"
    exit 77
  fi
  mkdir "$folder/home"
  Is 'a plain user without any set-up' $'True\nAnna' "$(HOME=$folder/home "$program")"
  Is 'and with the tool' Anna "$(HOME=$folder/home "$tool" reg get 'HKLM\Software\Nerio\Prova' Nome)"
  echo "$checks checks, $failures failed"
  [ "$failures" = 0 ]
  exit
fi

mount --make-rprivate / && mount -t tmpfs -o mode=755 machine /var/lib || exit 1
registry=/var/lib/nerio/registry
# As USER COMMAND...: USER is root or a number; each has a home of its own.
As() {
  local user=$1
  shift
  [ -d "$folder/home.$user" ] || install -d -o "$user" "$folder/home.$user"
  if [ "$user" = root ]; then
    HOME=$folder/home.root "$@"
  else
    HOME=$folder/home.$user setpriv --reuid "$user" --regid "$user" --clear-groups "$@"
  fi
}
stranger=60003
key='HKLM\Software\Nerio\App'
Tool() { As "$1" "$tool" "${@:2}" 2>&1 </dev/null; }
# What doctor says of the place and of the main branch.
Place() { Tool "$1" doctor | sed -n 's/^registry: \(the machine.s\|CRegistry\|HKEY_LOCAL_MACHINE.Software\)/\1/p; /^unused/p; $p'; }
Rights() { stat -c '%U:%G %a' "$registry/$1"; }

# A machine without any set-up.
own=$folder/home.60003/.local/share/nerio/registry/HKEY_LOCAL_MACHINE
machine=$registry/HKEY_LOCAL_MACHINE
Is 'the first program' $'True\nAnna' "$(As $stranger "$program")"
Is 'what it wrote' Anna "$(Tool $stranger reg get 'HKLM\Software\Nerio\Prova' Nome)"
Is 'nothing of the machine' '' "$(ls /var/lib)"
Is 'doctor, a plain user' "the machine's roots are your own, because $machine is not there and you may not make it
CRegistry can read and change HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio
all is well" "$(Place $stranger)"
Is 'doctor, root' "the machine's roots are the machine's, because you are root
HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio is not there yet; CRegistry makes it with the first write
all is well" "$(Place root)"

# What root has stored there is nobody else's.
Is 'root stores' 'stored*' "$(Tool root reg set "$key" Nome radice)"
Tool root reg create 'HKLM\Segreto' >/dev/null
chmod 700 $machine/segreto
Is 'a plain user has settings of his own' '*it is not there (2)' "$(Tool $stranger reg get "$key" Nome)"
Is 'doctor, a plain user beside the machine' "the machine's roots are your own, because you may not read, write and search $machine
CRegistry can read and change HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio
unused: $machine: no program of yours looks there
all is well" "$(Place $stranger)"
json=$(Tool $stranger reg doctor --json)
Is 'as JSON' '*"machineRoots":{"place":"user","why":"you may not *"unused":\[{"root":"HKEY_LOCAL_MACHINE","place":"'$machine'","present":true}],"mainBranch":{"present":true,"canRead":true,"canChange":true,"status":0,*' "$json"
# Somebody who comes to it all the same is told what is missing.
Is 'doctor, where a program gets nothing' "all roots are in one folder, because NERIO_REGISTRY names the folder of all roots
CRegistry can neither read nor change HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio: access is denied (5)
not all is well" "$(NERIO_REGISTRY=$registry Tool $stranger doctor | sed -n 's/^registry: \(all\|CRegistry\)/\1/p; /^unused/p; $p')"

# A disk that cannot be written to.
mount -o remount,ro /var/lib
Is 'doctor, a read-only disk' "the machine's roots are the machine's, because you have the rights on $machine
CRegistry can read HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio and not change it: the disk cannot be written to (19)
*" "$(Place $stranger)"

echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
