#!/usr/bin/env bash
# A registry that each version of the format has left: this version reads all of it, finds no damage, and works on with it.
# usage: stored_formats_test.sh TOOL DATA
#   DATA   of each version: VERSION, the folder of all roots; VERSION.hklm.reg and VERSION.hkcu.reg, what is in them
#
# A version of the format adds its own when it is released, made by the tool of that version; the others stay as they are.
set -u
tool=$1 data=$2
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
export NERIO_REGISTRY=$folder/registry LC_ALL=C.UTF-8
checks=0 failures=0

# Is WHAT WANTED GIVEN
Is() {
  checks=$((checks + 1))
  [ "$3" = "$2" ] && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n  wanted: %s\n  given:  %s\n' "$1" "$2" "$3"
}

versions=0
for version in "$data"/*/; do
  version=${version%/} name=$(basename "$version")
  versions=$((versions + 1))
  rm -rf "$NERIO_REGISTRY" && cp -r "$version" "$NERIO_REGISTRY" || exit 1
  # Nothing but what git keeps of a file's rights, the owner's alone.
  chmod -R u+rwX,go= "$NERIO_REGISTRY"

  for root in HKLM HKCU; do
    "$tool" reg export "$root" >"$folder/exported"
    Is "$name: $root is read" same "$(cmp "$folder/exported" "$version.${root,,}.reg" && echo same)"
  done
  Is "$name: no damage" 'no damage' "$("$tool" reg doctor | tail -n 1)"

  keys=0
  while read -r key; do
    keys=$((keys + 1))
    "$tool" reg set "$key" Aggiunto valore >"$folder/said" 2>&1
    Is "$name: $key is written" valore "$("$tool" reg get "$key" Aggiunto)"
    "$tool" reg set "$key\\Nuova" Nome valore >"$folder/said" 2>&1
    Is "$name: $key gets a key" valore "$("$tool" reg get "$key\\Nuova" Nome)"
    "$tool" reg delete "$key\\Nuova" --yes >"$folder/said" 2>&1
    "$tool" reg delete "$key" Aggiunto --yes >"$folder/said" 2>&1
  done < <(iconv -f UTF-16 -t UTF-8 "$version".*.reg | tr -d '\r' | sed -n 's/^\[\(.*\)\]$/\1/p')
  Is "$name: keys are there" yes "$([ "$keys" -ge 10 ] && echo yes)"
  for root in HKLM HKCU; do
    "$tool" reg export "$root" >"$folder/exported"
    Is "$name: $root is as before" same "$(cmp "$folder/exported" "$version.${root,,}.reg" && echo same)"
  done
  Is "$name: still no damage" 'no damage' "$("$tool" reg doctor | tail -n 1)"
done
Is 'every version of the format is here' 1 "$versions"
echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
