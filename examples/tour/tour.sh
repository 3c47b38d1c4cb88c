#!/usr/bin/env bash
# Shows the library at work on real data that outlives the process: the registry class across processes, then the support
# routines one by one.
# usage: tour.sh TOOL TOUR FOLDER    TOOL: the program nerio, TOUR: the program tour, FOLDER: made anew, for what it writes
set -euo pipefail
tool=$1 tour=$2 folder=$3

export NERIO_REGISTRY=$folder/registry
rm -rf "$folder"
mkdir -p "$folder"
trap '"$tool" trace off --yes >/dev/null 2>&1 || true' EXIT

title() { printf '\n%s\n' "$*"; }
# Writes a word as it has to be typed into a shell.
word() {
  if [[ $1 =~ ^[A-Za-z0-9_./=:-]+$ ]]; then printf '%s' "$1"; else printf "'%s'" "${1//\'/\'\\\'\'}"; fi
}
# Runs a command of the tool and shows it as it can be pasted.
shell() {
  local each
  printf '  $ nerio'
  for each; do printf ' %s' "$(word "$each")"; done
  printf '\n'
  "$tool" "$@" | sed 's/^/      /'
}

title "1. An owner makes its branch and writes a setting  (process $$: tour owner)"
"$tour" owner
title "2. Another process reads it back, and meets the failures, quiet and raised  (tour reader)"
"$tour" reader
title "3. The same registry through the tool; its commands can be pasted after the first one"
printf '  $ export NERIO_REGISTRY=%s PATH=%s:$PATH\n' "$(word "$NERIO_REGISTRY")" "$(word "$(dirname "$tool")")"
shell reg tree 'HKLM\Software'
shell reg get 'HKLM\Software\Nerio\App' Nome
shell reg export 'HKLM\Software\Nerio' -o "$folder/nerio.reg"
printf '  $ iconv -f UTF-16 -t UTF-8 %s\n' "$(word "$folder/nerio.reg")"
iconv -f UTF-16 -t UTF-8 "$folder/nerio.reg" | tr -d '\r' | sed 's/^/      /'
title "4. The support routines, with the trace on  (tour support)"
shell trace on
"$tour" support
title "5. What they traced"
shell trace tail
shell trace off --yes
title "Everything the tour wrote is in $folder. Next: ./run --help, README.md, ./test"
