#!/usr/bin/env bash
# Follows the page of the script writer in a fresh Wine prefix, then once more without MSXML 4.0, in which case the page shows
# another output. What it says about taking things away again leaves the prefix as the second walk needs it.
# usage: walk_test.sh LAUNCHER NERIO_DLL SOURCE_FOLDER WORK_FOLDER
set -euo pipefail
export NERIO_WINE=$1 WINEPREFIX=$4
rm -rf "$WINEPREFIX"
mkdir -p "$WINEPREFIX"
"$NERIO_WINE" wineboot -i </dev/null >/dev/null 2>&1

walk() {  # walk NUMBER: which of the two outputs has to come
  local said
  rm -rf "$WINEPREFIX/drive_c/Nerio"
  mkdir "$WINEPREFIX/drive_c/Nerio"
  cp "$dll" "$WINEPREFIX/drive_c/Nerio/"
  said=$("$source/scripts/walk" "$source/docs/start-scripts.md")
  echo "$said"
  grep -q "the output is number $1 of 2" <<<"$said"
}
dll=$2 source=$3
walk 1
WINEDLLOVERRIDES='mscoree,mshtml,winedbg.exe=;msxml4=' walk 2
