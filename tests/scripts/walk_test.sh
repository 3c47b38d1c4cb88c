#!/usr/bin/env bash
# scripts/walk on pages of its own: one that is right, and one for each thing that it has to notice.
# usage: walk_test.sh WALK
set -u
walk=$1
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0

# page BLOCK...: a page of blocks, each "KIND: LINES"
page() {
  local block
  echo '# A page'
  for block; do printf '\n```%s\n%b\n```\n' "${block%%: *}" "${block#*: }"; done
}
# expect WHAT ANSWER WORDS BLOCK...: what walk answers (0 or 1), and words that it says
expect() {
  local what=$1 answer=$2 words=$3 said status=0
  shift 3
  page "$@" >"$folder/page.md"
  said=$("$walk" "$folder/page.md" 2>&1) || status=$?
  if [ "$status" != "$answer" ] || ! grep -qF -- "$words" <<<"$said"; then
    failures=$((failures + 1))
    printf 'FAILED: %s: %s\n%s\n' "$what" "$status" "$said"
  fi
}

twelve=$(printf 'echo %s\\n' {1..12})
expect 'the output as shown' 0 '1 blocks run with 1 commands, 1 outputs as shown' 'sh: echo uno' 'text: uno'
expect 'a variable of an earlier block' 0 '2 blocks run' 'sh: a=uno' 'sh: echo $a due' 'text: uno ...'
expect 'one output of two' 0 'the output is number 2 of 2' 'sh: echo due' 'text: uno' 'text: due'
expect 'other kinds of blocks' 0 '1 blocks run' 'sh: echo uno' 'text: uno' 'cpp: int main() {}'
expect 'lines that are not commands' 0 'run with 2 commands' \
  "sh: # a word\ncat >$folder/read <<'END'\nuno\ndue\nEND\n\necho uno \\\\\n  due" 'text: uno due'
expect 'twelve commands' 0 'run with 12 commands' "sh: $twelve" 'text: 1\n...'

expect 'another output' 1 'the output differs' 'sh: echo uno' 'text: due'
expect 'more output' 1 'the output differs' 'sh: echo uno; echo due' 'text: uno'
expect 'neither output' 1 'the output differs' 'sh: echo tre' 'text: uno' 'text: due'
expect 'characters of patterns' 1 'the output differs' 'sh: echo uno' 'text: u?[n]*'
expect 'a command that fails' 1 ':3: a command failed (1)' 'sh: echo uno\nfalse\necho due' 'text: uno\ndue'
expect 'nothing to compare' 1 'nothing to compare' 'sh: echo uno'
expect 'thirteen commands' 1 '13 commands, more than 12' "sh: ${twelve}echo 13" 'text: 1\n...'
[ "$failures" = 0 ] && echo "all as expected"
exit $((failures > 0))
