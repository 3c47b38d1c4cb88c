#!/usr/bin/env bash
# Every translated page says what the page says: the same headings, code and links. Then changes are planted, in one of the two
# only, each of which has to be noticed.
# usage: translations_test.sh SOURCE_FOLDER
set -u
source=$1
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0 pages=0 planted=0
cd "$source" || exit 1

skeleton() {  # skeleton FILE AS: of a file as if it were at the place AS
  local place
  place=$(dirname "$2")/
  awk -v folder="${place#./}" -f "$here/translation_skeleton.awk" "$1"
}
same() {  # same PAGE TRANSLATION PAGE'S_PLACE TRANSLATION'S_PLACE
  diff -U 1 <(skeleton "$1" "$3") <(skeleton "$2" "$4")
}
fail() { failures=$((failures + 1)) && echo "FAILED: $*"; }

plant() {  # plant noticed|unnoticed WHAT SED_SCRIPT: a change in the page alone, then in the translation alone
  local wanted=$1 what=$2 script=$3 file
  for file in "$page" "$translation"; do
    planted=$((planted + 1))
    sed -E "$script" "$file" >"$folder/changed"
    if cmp -s "$file" "$folder/changed"; then fail "$file: nothing to plant: $what"; continue; fi
    if [ "$file" = "$page" ]; then same "$folder/changed" "$translation" "$page" "$translation"; else
      same "$page" "$folder/changed" "$page" "$translation"; fi >/dev/null && seen=unnoticed || seen=noticed
    [ "$seen" = "$wanted" ] || fail "$file: $seen: $what"
  done
}

for translation in README.it.md docs/it/*.md; do
  page=${translation/docs\/it/docs}
  page=${page/.it.md/.md}
  pages=$((pages + 1))
  same "$page" "$translation" "$page" "$translation" || fail "$translation does not follow $page"
  plant noticed 'a heading less' '0,/^## /{/^## /d}'
  plant noticed 'a heading of another level' '0,/^## /s/^## /### /'
  plant noticed 'a heading more' '$a## Altro'
  plant noticed 'another link' '0,/\]\(docs|\]\([a-z.]/s/\]\([^)]*\)/](altro.md)/'
  plant noticed 'a link more' '$a[altro](altro.md)'
  plant noticed 'a command more' '0,/^```sh/s/^```sh/```sh\naltro/'
  plant noticed 'another letter in a program' 's/#include <nerio/#include <Nerio/'
  plant noticed 'a block of another language' '0,/^```sh/s/^```sh/```bash/'
  plant unnoticed 'another comment' '0,/^```sh/s/^```sh/```sh\n# altro/'
  plant unnoticed 'another sentence' '$aAltro.'
done
echo "$pages translations, $planted planted changes, $failures failed"
[ "$failures" = 0 ] && [ "$pages" -gt 1 ]
