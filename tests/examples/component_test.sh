#!/usr/bin/env bash
# The examples that use the registered component print what their page shows.
# usage: component_test.sh LAUNCHER SOURCE_FOLDER COM_CLIENT
set -u
launcher=$1 source=$2 client=$3
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$source"/examples/scripts/impostazioni.* "$folder/"
cd "$folder" || exit 1
failures=0 ran=0
wanted=$(sed -n '/^```text$/,/^```$/p' "$source/docs/examples.md" | sed '/^```/d')

expect() {  # expect EXAMPLE CODE_PAGE COMMAND...: what it prints, in the code page
  local given
  ran=$((ran + 1))
  given=$("$launcher" "${@:3}" | iconv -f "$2" -t UTF-8 | tr -d '\r')
  [ -n "$wanted" ] && [ "$given" = "$wanted" ] && return
  failures=$((failures + 1))
  echo "FAILED: $1"
  diff <(echo "$wanted") <(echo "$given")
}
expect com_client UTF-8 "$client"
expect impostazioni.js CP850 cscript //nologo impostazioni.js
expect impostazioni.vbs CP850 cscript //nologo impostazioni.vbs
echo "$ran examples, $failures failed"
[ "$failures" = 0 ]
