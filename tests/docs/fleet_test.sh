#!/usr/bin/env bash
# The recipes of docs/fleet.md that are files: each is what the page shows, with the paths of this test, and is given to the
# program that reads it. What this machine has no program for is said and left out.
# usage: fleet_test.sh PROGRAM SOURCE_FOLDER    PROGRAM: the tool
set -u
program=$(realpath "$1") page=$2/docs/fleet.md
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0 checks=0

check() {  # check WHAT COMMAND...: whether a command succeeds
  checks=$((checks + 1))
  "${@:2}" >"$folder/said" 2>&1 && return
  failures=$((failures + 1))
  echo "FAILED: $1"
  sed 's/^/  /' "$folder/said"
}
refused() { ! "$@"; }
there() { command -v "$1" >/dev/null && return; echo "not tried: $1 is not installed"; return 1; }
block() { awk -v name="# $1" '/^```/ { inside = 0 } inside || $0 == name { inside = 1; print }' "$page"; }

mkdir "$folder/lib" "$folder/bin"
cp "$program" "$folder/bin/nerio" && cp -L "$(ldd "$program" | awk '/libnerio/ { print $3 }')" "$folder/lib/" || exit 1
export LD_LIBRARY_PATH=$folder/lib NERIO_REGISTRY=$folder/registry PATH=$folder/bin:$PATH HOME=$folder LC_ALL=C.UTF-8
log=$folder/lib/Nerio.log

playbook() {
  block nerio.yml | sed 's,/usr/local/bin/,,; s/become: true/become: false/' >"$folder/nerio.yml"
  printf '%s\n' 'Windows Registry Editor Version 5.00' '[HKEY_LOCAL_MACHINE\Software\Nerio\Posta]' '"Porta"="25"' \
    >"$folder/settings.reg"
  local porta=('HKLM\Software\Nerio\Posta' Porta)
  play() {  # play CHANGED [OPTION]: a run against this machine, in which CHANGED tasks report a change
    local wanted=$1
    shift
    ansible-playbook --connection local --inventory localhost, "$@" "$folder/nerio.yml" 2>&1 | tee "$folder/played"
    grep -qE "changed=$wanted .*unreachable=0 +failed=0 " "$folder/played"
  }
  check 'the playbook reports what is not there' play 1 --check
  check 'and makes nothing' refused nerio reg test "${porta[@]}"
  check 'the playbook makes the settings' play 2
  check 'as in the file' test "$(nerio reg get "${porta[@]}")" = 25
  check 'the playbook leaves what is as in the file' play 0
  nerio reg set "${porta[@]}" 2525 >/dev/null
  check 'the playbook reports what has drifted' play 1 --check
  check 'and changes nothing' test "$(nerio reg get "${porta[@]}")" = 2525
  sed -i 's/ansible.builtin.command/ansible.builtin.comand/' "$folder/nerio.yml"
  check 'a playbook with a wrong word is refused' refused play 2
}

service() {
  block /etc/systemd/system/posta.service | sed 's,/usr/local/bin/posta,/bin/true,' >"$folder/posta.service"
  verified() {  # It answers 0 also where it complains.
    SYSTEMD_LOG_LEVEL=warning systemd-analyze verify --man=no "$folder/posta.service" 2>&1 | refused grep .
  }
  check 'the unit' verified
  check 'the unit names the place of the registry' grep -qx 'ReadWritePaths=/var/lib/nerio' "$folder/posta.service"
  sed -i 's/ReadWritePaths/ReadWritePath/' "$folder/posta.service"
  check 'a unit with a wrong word is refused' refused verified
}

rotate() {  # rotate CONFIGURATION: one rotation, of a log with one line, then one more line
  rm -f "$log" "$log".*
  nerio trace on >/dev/null
  nerio date 31/12/1999 >/dev/null
  logrotate --force --state "$folder/state" "$1"
  nerio date 30/12/1999 >/dev/null
}
trace_log() {
  block /etc/logrotate.d/nerio | sed "s,/usr/local/lib/Nerio.log,$log," >"$folder/rotate"
  chmod 0644 "$folder/rotate"
  check 'the rotation' rotate "$folder/rotate"
  check 'the old lines are in the copy' grep -q '31/12/1999' <(zcat "$log.1.gz")
  check 'the new lines are in the log' grep -q '30/12/1999' "$log"
  check 'the old lines are not' refused grep -q '31/12/1999' "$log"
  # Without that word the log is renamed, which switches tracing off.
  sed '/copytruncate/d' "$folder/rotate" >"$folder/rename"
  chmod 0644 "$folder/rename"
  check 'a rotation by rename' rotate "$folder/rename"
  check 'leaves no log' refused test -e "$log"
}

rights() {  # owners, permissions and ACLs after the two commands of the page
  nerio reg set 'HKLM\Software\Nerio\Posta' Porta 25 >/dev/null
  key=$(find "$NERIO_REGISTRY" -name posta)
  chmod 2770 "$key"
  [ "$(id -u)" != 0 ] || chown 12345:12346 "$key"
  setfacl -m u:12347:rwx "$key"
  before=$(getfacl -cnp "$key")
  eval "$(sed -n 's/^\$ \(tar --create\)/\1/p' "$page" | sed "s,backup.tar,$folder/backup.tar,")"
  rm -rf "$NERIO_REGISTRY" && mkdir "$NERIO_REGISTRY"
  eval "$(sed -n 's/^\$ \(tar --extract\)/\1/p' "$page" | sed "s,backup.tar,$folder/backup.tar,")"
  check 'rights after a restore' test "$before $(stat -c %a:%u:%g "$key")" = \
    "$(getfacl -cnp "$key") 2770:$(if [ "$(id -u)" = 0 ]; then echo 12345:12346; else echo "$(id -u):$(id -g)"; fi)"
  check 'the ACL is among them' grep -q 'user:12347:rwx' <<<"$before"
}

read_only() {  # as a container: everything read-only, then with the registry on a volume
  nerio reg set 'HKLM\Software\Nerio\Posta' Porta 25 >/dev/null
  mounted() {  # mounted MORE COMMAND...: with the folder read-only but for what MORE mounts
    unshare --mount --propagation private bash -c "mount --bind '$folder' '$folder' && $1 mount -o remount,bind,ro '$folder' &&
      exec \"\$@\"" bash "${@:2}"
  }
  check 'values are read' test "$(mounted '' nerio reg get 'HKLM\Software\Nerio\Posta' Porta)" = 25
  check 'a change is refused' grep -qF '(19)' <<<"$(mounted '' nerio reg set 'HKLM\Software\Nerio\Posta' Porta 26 2>&1)"
  check 'a change on a volume' mounted "mount -t tmpfs none '$folder/registry' &&" nerio reg set 'HKLM\Software\Nerio' Porta 26
}

if there ansible-playbook; then playbook; fi
if there systemd-analyze; then service; fi
if there logrotate; then trace_log; fi
if there setfacl; then rights; fi
if [ "$(id -u)" = 0 ]; then read_only; else echo 'not tried: only root can mount'; fi
echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
