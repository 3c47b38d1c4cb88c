#!/usr/bin/env bash
# Runs the VBScript and JScript of the documents as clients of the registered component, each block as a script of its own. A
# line that prints says in its comment what. Together the scripts call every member.
# usage: documents_test.sh LAUNCHER INTERFACE_DESCRIPTION FILE...
set -u
launcher=$1
description=$2
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0 lines=0 scripts=0

Fail() { echo "FAILED: $*" && failures=$((failures + 1)); }

for file in "${@:3}"; do
  before=$scripts
  # Each block as a file NUMBER.KIND.
  rm -f "$folder"/*.vbs "$folder"/*.js
  awk -v folder="$folder" '
    /^```(vbscript|jscript)$/ { out = sprintf("%s/%03d.%s", folder, NR, /vb/ ? "vbs" : "js"); next }
    /^```$/ { out = "" }
    out != "" { print >out }' "$file"
  for script in "$folder"/*.vbs "$folder"/*.js; do
    [ -f "$script" ] || continue
    scripts=$((scripts + 1))
    cat "$script" >>"$folder/all"
    wanted=$(sed -n -e "s/^ *WScript\.Echo .* ' //p" -e 's|^.*WScript\.Echo(.* // ||p' "$script")
    # The script host reads the ANSI code page and prints in that of its console.
    iconv -f UTF-8 -t CP1252 "$script" >"$folder/run.${script##*.}.1252"
    mv "$folder/run.${script##*.}.1252" "$script"
    given=$(cd "$folder" && "$launcher" cscript //nologo "${script##*/}" | iconv -f CP850 -t UTF-8 | tr -d '\r')
    lines=$((lines + $(wc -l <<<"$wanted")))
    [ -n "$wanted" ] || Fail "$file:${script##*/} prints nothing"
    if [ "$given" != "$wanted" ]; then
      Fail "$file:${script##*/}"
      diff <(echo "$wanted") <(echo "$given") | sed -n 's/^</  the document:/p; s/^>/  the script:  /p'
    fi
  done
  [ "$scripts" -gt "$before" ] || Fail "$file has no script"
done

members=$(sed -n 's/^  HRESULT \([A-Za-z0-9]*\)(.*/\1/p' "$description")
[ -n "$members" ] || Fail "$description has no members"
for member in $members; do
  grep -q "nerio\.$member\b" "$folder/all" || Fail "no script calls $member"
done
echo "$lines lines printed, $(wc -w <<<"$members") members, $failures failed"
[ "$failures" = 0 ]
