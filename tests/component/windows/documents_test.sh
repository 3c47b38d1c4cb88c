#!/usr/bin/env bash
# Runs the VBScript of the documents as a client of the registered component. A line that prints says in its comment what.
# usage: documents_test.sh LAUNCHER FILE...
set -u
launcher=$1
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0 lines=0
for file in "${@:2}"; do
  script=$(sed -n '/^```vbscript$/,/^```$/p' "$file" | sed '/^```/d')
  wanted=$(sed -n "s/^ *WScript\.Echo .* ' //p" <<<"$script")
  [ -n "$wanted" ] || { echo "FAILED: $file has no VBScript that prints" && failures=$((failures + 1)); }
  # The script host reads the ANSI code page and prints in that of its console.
  iconv -f UTF-8 -t CP1252 <<<"$script" >"$folder/script.vbs"
  given=$(cd "$folder" && "$launcher" cscript //nologo script.vbs | iconv -f CP850 -t UTF-8 | tr -d '\r')
  lines=$((lines + $(wc -l <<<"$wanted")))
  if [ "$given" != "$wanted" ]; then
    echo "FAILED: $file"
    diff <(echo "$wanted") <(echo "$given") | sed -n 's/^</  the document:/p; s/^>/  the script:  /p'
    failures=$((failures + 1))
  fi
done
echo "$lines lines printed, $failures failed"
[ "$failures" = 0 ]
