#!/usr/bin/env bash
# scripts/check-house refuses a folder, a file and a function that are one too large, wherever the function stands, and passes
# what is just small enough.
#
#   check_house_test.sh CHECK-HOUSE
set -euo pipefail
check=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree

fresh() {
  rm -rf "$tree"
  mkdir -p "$tree/nerio/types"
  echo 'int Good();' >"$tree/nerio/types/good.h"
}
refuse() {  # refuse WHAT-IT-SAYS
  local said
  if said=$("$check" "$tree"); then
    echo "accepted, instead of: $1" >&2
    exit 1
  fi
  [ "$said" = "$1" ] || { printf 'wanted: %s\ngot: %s\n' "$1" "$said" >&2; exit 1; }
}
accept() {  # accept WHAT
  "$check" "$tree" || { echo "refused: $1" >&2; exit 1; }
}
units() {  # units FOLDER COUNT: so many sources with their headers
  local i
  mkdir -p "$tree/$1"
  for ((i = 1; i <= $2; ++i)); do touch "$tree/$1/unit$i.h" "$tree/$1/unit$i.cpp"; done
}
lines() {  # lines COUNT
  local i
  for ((i = 1; i <= $1; ++i)); do echo '  ++count;'; done
}
code() {  # code BEFORE COUNT AFTER: a source that has so many lines between two others
  { printf '%s\n' "$1"; lines "$2"; printf '%s\n' "$3"; } >"$tree/nerio/types/large.cpp"
}

for folder in nerio/types tools/nerio/verbs tests/testing bench fuzz examples/tour; do
  fresh
  units "$folder" 14
  touch "$tree/$folder/good.h"
  accept "15 units in $folder"
  touch "$tree/$folder/unit15.cpp"
  refuse "$folder:0: 16 units in a folder, 15 at most"
done
fresh
units nerio/hosts/linux/store 18
accept '18 units in the store'
touch "$tree/nerio/hosts/linux/store/one_more.h"
refuse 'nerio/hosts/linux/store:0: 19 units in a folder, 18 at most'

for folder in nerio/types tools/nerio; do
  fresh
  mkdir -p "$tree/$folder"
  printf '//\n%.0s' {1..400} >"$tree/$folder/long.h"
  accept '400 lines'
  echo '//' >>"$tree/$folder/long.h"
  refuse "$folder/long.h:401: a file of 401 lines, 400 at most"
done
fresh
mkdir -p "$tree/tests"
printf '//\n%.0s' {1..500} >"$tree/tests/long.cpp"
accept 'a long test'

# Each function has 48 lines and one below and above, and one line more is one too many.
while IFS= read -r before; do
  fresh
  above=$(printf '%b' "$before" | wc -l)
  code "$(printf '%b' "$before")" $((48 - above)) '}'
  accept "50 lines: $before"
  code "$(printf '%b' "$before")" $((49 - above)) '}'
  refuse "nerio/types/large.cpp:1: a function of 51 lines, 50 at most"
done <<'FUNCTIONS'
int Count(int count) {
int Count(int count,\n          int other) noexcept {
template <class T>\nint Count(T count) {
template <class T, class U = std::pair<T, T>>\nT Count() requires(sizeof(T) == 4) {
Counter::Counter(int a)\n    : a_{a}, b_(a), c_{{a}} {
constexpr auto kCount = [](int count) {
bool operator==(const Count& a, const Count& b) { // {
char Count() { return '{'; return '"'; return 1'000'000;
const char* Count() { return R"(}}})"; /* { */
const char* Count() {\n#define OPEN {\\\n  {
extern "C" int Count(int count) {
FUNCTIONS

# A function within others' braces, and what is no function.
fresh
code $'namespace nerio {\nnamespace {\nclass Counter : public Count<int(int)> {\n public:\n  int Get() const { return 1; }\n  int Count(int count) {' \
  49 $'  }\n};\n}\n}'
refuse 'nerio/types/large.cpp:6: a function of 51 lines, 50 at most'
for opening in 'constexpr int kTable[] = {' 'const std::array<int, Count(3)> kTable = {' 'enum class Count : int {' 'struct Count {' \
  'const auto kTable = Join({'; do
  fresh
  code "$opening" 60 '};'
  case $opening in *'({') code "$opening" 60 '});' ;; esac
  accept "$opening"
done
fresh
code 'int Count() {' 3 ''
refuse 'nerio/types/large.cpp:5: the braces of this file are not understood'

if "$check" "$work/nowhere" 2>/dev/null; then
  echo 'accepted a tree that is not there' >&2
  exit 1
fi
mkdir "$work/empty"
if "$check" "$work/empty" 2>/dev/null; then
  echo 'accepted a tree without sources' >&2
  exit 1
fi
echo 'check-house: all that is too large was refused'
