#!/usr/bin/env bash
# The registry on a machine of its own: root, two members of a group, a stranger, and README's first program of a user who has
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

# Is WHAT WANTED GIVEN [literal]: WANTED is a pattern, unless it is called literal.
Is() {
  checks=$((checks + 1))
  [[ -n ${4:-} && $3 == "$2" ]] && return
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
users=$(getent group users | cut -d: -f3)
registry=/var/lib/nerio/registry
# As USER COMMAND...: USER is root, or a number with the letter m for a member of the group; each has a home of its own.
As() {
  local user=${1%m} groups=--clear-groups
  [[ $1 == *m ]] && groups=--groups=$users
  shift
  [ -d "$folder/home.$user" ] || install -d -o "$user" "$folder/home.$user"
  if [ "$user" = root ]; then
    HOME=$folder/home.root "$@"
  else
    HOME=$folder/home.$user setpriv --reuid "$user" --regid "$user" "$groups" "$@"
  fi
}
anna=60001m bruno=60002m stranger=60003
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

# For the members of a group.
Is 'init of a plain user' 'nerio: only root can make*' "$(Tool $stranger reg init --group users)"
Is 'init without a group' 'nerio: *--group*' "$(Tool root reg init)"
Is 'init for no group' 'nerio: there is no group "no such group"*' "$(Tool root reg init --group 'no such group')"
Is 'init of another place' 'nerio: NERIO_REGISTRY names another place*' "$(NERIO_REGISTRY=$folder/x Tool root reg init --group users)"
for code in "4 $stranger users" '3 root none' '2 root'; do
  read -r wanted user group <<<"$code"
  Tool "$user" reg init ${group:+--group "$group"} >/dev/null
  Is "exit code of $code" "$wanted" $?
done
Is 'nothing was done' 'root:root 755' "$(Rights HKEY_LOCAL_MACHINE)"
umask 077
Is init "made $registry/HKEY_CLASSES_ROOT
made $registry/HKEY_USERS
made $registry/HKEY_CURRENT_CONFIG
opened $machine
opened $registry
opened 3 keys below
left as it is: $machine/segreto has rights of its own
the machine's registry in $registry is for the members of users" "$(Tool root reg init --group users)"
Is 'init again' "the machine's registry in $registry was already for the members of users" "$(Tool root reg init --group users)"
Is 'init again, as JSON' '*"changed":false}' "$(Tool root reg init --group users --json)"
for place in . HKEY_LOCAL_MACHINE HKEY_USERS HKEY_LOCAL_MACHINE/software/nerio/app; do
  Is "rights of $place" 'root:users 2775' "$(Rights $place)"
  Is "rights of the lock of $place" 'root:users 660' "$(Rights $place/%lock)"
done
Is 'rights of values' 'root:users 664' "$(Rights HKEY_LOCAL_MACHINE/software/nerio/app/%values)"
Is 'rights of what root keeps for itself' 'root:root 700' "$(Rights HKEY_LOCAL_MACHINE/segreto)"

# Each changes what the other made, whatever their umask; a long text has the file replaced, a lost lock made anew.
long=$(printf 'x%.0s' {1..9000})
Is 'a member reads what root stored' radice "$(Tool $anna reg get "$key" Nome)"
for pair in "$anna $bruno" "$bruno $anna" "root $anna" "$anna root"; do
  read -r one other <<<"$pair"
  Is "$one makes" 'stored*' "$(Tool "$one" reg set "$key\\Uno\\Due" Nome "$one")"
  Is "$other reads" "$one" "$(Tool "$other" reg get "$key\\Uno\\Due" Nome)"
  Is "$other changes" 'stored*' "$(Tool "$other" reg set "$key\\Uno\\Due" Nome "$other")"
  Is "$other replaces" 'stored*' "$(Tool "$other" reg set "$key\\Uno\\Due" Lungo "$long" | tail -n 1)"
  Is "$one changes again" 'stored*' "$(Tool "$one" reg set "$key\\Uno\\Due" Lungo corto)"
  rm $machine/software/nerio/app/uno/%lock
  Is "$other makes below" 'created*' "$(Tool "$other" reg create "$key\\Uno\\Tre")"
  Is "$one deletes what $other made" 'deleted*' "$(Tool "$one" reg delete "$key\\Uno\\Tre" --yes)"
  for path in uno uno/due; do
    Is "rights of $path" '*:users 2775' "$(Rights HKEY_LOCAL_MACHINE/software/nerio/app/$path)"
    Is "rights of the values of $path" '*:users 664' "$(Rights HKEY_LOCAL_MACHINE/software/nerio/app/$path/%values)"
    Is "rights of the lock of $path" '*:users 660' "$(Rights HKEY_LOCAL_MACHINE/software/nerio/app/$path/%lock)"
  done
  Is "$other deletes" 'deleted*' "$(Tool "$other" reg delete "$key\\Uno" --recursive --yes)"
done
Is 'what is left' '%lock %values' "$(ls -x $machine/software/nerio/app | tr -s ' \t' ' ')"
Is 'the first program of a member' $'True\nAnna' "$(As $anna "$program")"
Is 'is what another one reads' Anna "$(Tool $bruno reg get 'HKLM\Software\Nerio\Prova' Nome)"
Is 'doctor, a member' "the machine's roots are the machine's, because you have the rights on $machine
CRegistry can read and change HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio
*" "$(Place $anna)"
Is 'a member without rights on all keys' "refused: $machine/segreto: this user may not read it" "$(Tool $anna reg doctor | grep segreto)"

# A stranger has no right on a lock, and goes on with what is his own.
Is 'lock, a stranger' '*Permission denied' "$(As $stranger bash -c "exec 3<$machine/software/%lock" 2>&1)"
Is 'the first program of a stranger' $'True\nAnna' "$(As $stranger "$program")"
Is 'doctor, a stranger' "the machine's roots are your own, because you may not read, write and search $machine
CRegistry*
unused: $registry/HKEY_CLASSES_ROOT:*" "$(Place $stranger)"
Is 'a stranger who has become a member' "the machine's roots are the machine's,*
CRegistry can read*
unused: $own: no program of yours looks there
*" "$(Place 60003m)"

# For another group.
Is 'init for another group' "*opened 4 keys below*" "$(Tool root reg init --group games)"
Is 'who made a key keeps it' '*:games 2775' "$(Rights HKEY_LOCAL_MACHINE/software/nerio/prova)"
Is 'rights of the folder' 'root:games 2775' "$(Rights .)"
Is 'a member of the first group' '*it is not there (2)' "$(Tool $anna reg get "$key" Nome)"

# A file with a second name may be one of another user's, a folder above one that nobody can go through.
ln $machine/software/%values "$registry/second"
chmod 750 /var/lib/nerio
Is 'init beside a second name' "*left as it is: $machine/software has rights of its own*" "$(Tool root reg init --group users)"
Is 'a way that is closed' '*the members cannot reach it: /var/lib/nerio is closed to them*' "$(Tool root reg init --group users)"

# A disk that cannot be written to.
chmod 755 /var/lib/nerio
mount -o remount,ro /var/lib
Is 'doctor, a read-only disk' "the machine's roots are the machine's, because you have the rights on $machine
CRegistry can read HKEY_LOCAL_MACHINE\\\\Software\\\\Nerio and not change it: the disk cannot be written to (19)
*" "$(Place $stranger)"
printf 'REGEDIT4\n[HKEY_LOCAL_MACHINE\\Software\\Nerio\\Nuova]\n' >new.reg
printf 'REGEDIT4\n[HKEY_LOCAL_MACHINE\\Software\\Nerio\\App]\n"a"="b"\n' >value.reg
printf 'REGEDIT4\n[-HKEY_LOCAL_MACHINE\\Software\\Nerio\\App]\n' >gone.reg
chmod 644 ./*.reg
for user in root $anna; do
  for file in new value gone; do
    imported=$(Tool "$user" reg import $file.reg)
    Is "$user imports $file.reg on a read-only disk" '*the disk cannot be written to (19)*findmnt*' "$imported"
    tried=$(Tool "$user" reg import $file.reg --dry-run)
    Is "$user tries to" "${imported/; nothing was imported/}" "$tried" literal
  done
done
Is 'init, a read-only disk' '*the disk cannot be written to (19)*' "$(Tool root reg init --group games)"

echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
