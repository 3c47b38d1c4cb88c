#!/usr/bin/env bash
# ./run hands its arguments to the tool where the user stands, so that the files they name are the user's. Setting up and building
# are replaced by programs that do nothing, and the tool by one that says what it was given.
# usage: run_test.sh SOURCE_FOLDER
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/top/scripts" "$folder/top/build/run/tools/nerio" "$folder/bin" "$folder/user"
cp "$1/run" "$folder/top/"
for nothing in top/scripts/setup bin/cmake; do printf '#!/bin/sh\n' >"$folder/$nothing"; done
printf '#!/bin/sh\npwd -P\nprintf "%%s\\n" "$@"\n' >"$folder/top/build/run/tools/nerio/nerio"
chmod +x "$folder/top/scripts/setup" "$folder/bin/cmake" "$folder/top/build/run/tools/nerio/nerio"
cd "$folder/user"
given=$(PATH=$folder/bin:$PATH ../top/run reg import 'a file.reg')
wanted=$(printf '%s\n' "$(pwd -P)" reg import 'a file.reg')
[ "$given" = "$wanted" ] || { printf 'the tool was given:\n%s\ninstead of:\n%s\n' "$given" "$wanted" >&2; exit 1; }
