#!/usr/bin/env bash
# Runs the examples of a page: in a block that begins with ```console, a line "$ COMMAND" is run, in one folder and one registry
# for the whole page, and what follows is what it prints; "..." there stands for anything.
# usage: run_console.sh PROGRAM PAGE    PROGRAM: the tool
set -u
program=$(realpath "$1") page=$(realpath "$2")
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
ran=0 failures=0

# The trace file lies beside the library, so the examples get a library of their own.
mkdir "$folder/bin" "$folder/lib" "$folder/work"
library=$(ldd "$program" | awk '/libnerio/ { print $3 }')
cp "$program" "$folder/bin/nerio" && cp -L "$library" "$folder/lib/" || exit 1
cd "$folder/work" || exit 1

command='' wanted='' at=0
finish() {
  [ -n "$command" ] || return
  local given pattern
  given=$(env -u LC_ALL -u LC_TIME -u LC_NUMERIC -u XDG_DATA_HOME LANG=C.UTF-8 PATH="$folder/bin:$PATH" \
    LD_LIBRARY_PATH="$folder/lib" NERIO_REGISTRY="$folder/registry" bash -c "$command" 2>&1 </dev/null)
  given=${given//$'\r'/} # a file's CR LF is a line end to the page
  ran=$((ran + 1))
  pattern=$(sed 's/[][\\*?()|]/\\&/g; s/\.\.\./*/g' <<<"${wanted%$'\n'}")
  # shellcheck disable=SC2053
  if [[ $given != $pattern ]]; then
    failures=$((failures + 1))
    echo "FAILED: $(basename "$page"):$at: $command"
    diff <(printf '%s\n' "${wanted%$'\n'}") <(printf '%s\n' "$given") | sed -n 's/^</  the page:/p; s/^>/  the tool:/p'
  fi
  command='' wanted=''
}

inside=false number=0
while IFS= read -r line; do
  number=$((number + 1))
  if [ "$line" = '```console' ]; then
    inside=true
  elif [ "$line" = '```' ]; then
    finish
    inside=false
  elif $inside && [[ $line == '$ '* ]]; then
    finish
    command=${line#'$ '} at=$number
  elif $inside && [[ $line == '>'* ]] && [ -z "$wanted" ]; then
    line=${line#>}
    command+=$'\n'${line# } # the command goes on
  elif $inside; then
    wanted+=$line$'\n'
  fi
done <"$page"
echo "$ran examples, $failures failed"
[ "$failures" = 0 ] && [ "$ran" -gt 0 ]
