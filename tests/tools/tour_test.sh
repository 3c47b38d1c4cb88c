#!/usr/bin/env bash
# Runs the tour and pastes the commands that it shows into bash: each works, and prints what the tour shows below it.
# usage: tour_test.sh SOURCE_FOLDER TOOL TOUR
set -u
source=$(realpath "$1") tool=$(realpath "$2") tour=$(realpath "$3")
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
export LANG=C.UTF-8
unset LC_ALL LC_TIME LC_NUMERIC
# The trace file lies beside the library, so the tour gets a library of its own.
mkdir "$folder/bin" "$folder/lib"
cp "$tool" "$tour" "$folder/bin/" && cp -L "$(ldd "$tool" | awk '/libnerio/ { print $3 }')" "$folder/lib/" || exit 1
export LD_LIBRARY_PATH=$folder/lib
shown=$("$source/examples/tour/tour.sh" "$folder/bin/nerio" "$folder/bin/tour" "$folder/it's a tour") ||
  { echo "$shown"; echo "FAILED: the tour's exit code is not 0"; exit 1; }

commands=$(sed -n 's/^  \$ //p' <<<"$shown")
count=$(grep -c . <<<"$commands")
{
  echo 'set -e'
  while IFS= read -r command; do
    printf 'printf "%%s\\n" %q\n' "  \$ $command"
    case $command in iconv*) echo "$command | tr -d '\\r' | sed 's/^/      /'" ;; *) echo "$command" ;; esac
  done <<<"$commands"
} >"$folder/pasted"
said=$(bash "$folder/pasted" 2>&1) || { echo "$said"; echo "FAILED: what the tour shows does not work when it is pasted"; exit 1; }
for part in 'prova\|Anna\|exported' 'Windows Registry Editor Version 5.00' 'Nerio.log created' 'Nerio.log deleted'; do
  grep -q "$part" <<<"$said" || { echo "$said"; echo "FAILED: no $part"; exit 1; }
done
echo "$count commands pasted, all work"
[ "$count" -ge 7 ]
