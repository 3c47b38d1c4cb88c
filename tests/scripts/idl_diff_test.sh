#!/usr/bin/env bash
# The component's interface description is the one on record, and scripts/idl-diff tells each kind of change that breaks clients:
# planted in a copy that is a repository of its own.
# usage: idl_diff_test.sh SOURCE_FOLDER
set -euo pipefail
"$1/scripts/idl-diff"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
place=nerio/component/windows
mkdir -p "$folder/scripts" "$folder/$place"
cp "$1/scripts/idl-diff" "$folder/scripts/"
cp "$1/$place/"{nerio.idl,interface.txt} "$folder/$place/"
cd "$folder"
git init -q .
git add .
git -c user.name=test -c user.email=test@example.org commit -q -m released
git tag released

failures=0 ran=0
# expect WHAT CHANGED BROKEN PLANT: what a plant, a program of sed, gives: compared with the record, and the renewed record with
# that of the tag
expect() {
  local changed=0 broken=0
  ran=$((ran + 1))
  git checkout -q .
  sed -i "$4" "$place/nerio.idl"
  git diff --quiet && { echo "FAILED: $1: nothing was planted"; failures=$((failures + 1)); return; }
  scripts/idl-diff >said 2>&1 || changed=$?
  scripts/idl-diff --record
  scripts/idl-diff released >>said 2>&1 || broken=$?
  [ "$changed $broken" = "$2 $3" ] || { echo "FAILED: $1: $changed $broken"; cat said; failures=$((failures + 1)); }
}
expect 'a help text' 0 0 's/Aggiunge una riga/Scrive una riga/'
expect 'a comment' 0 0 '1a // A word.'
expect 'an IID' 1 1 's/7675C634/7675C635/'
expect 'a DISPID' 1 1 's/id(5)/id(50)/'
expect 'a name' 1 1 's/sDefault/sPredefinito/'
expect 'a type' 1 1 's/BSTR folder/VARIANT folder/'
expect 'the order' 1 1 '/\[id(8)/{N;h;d};/\[id(9)/{N;G}'
expect 'a member that is gone' 1 1 '/\[id(1),/,/;/d'
expect 'a member more' 1 1 's/\[id(8),/[id(99)] HRESULT Nuovo();\n&/'
expect 'the version of the library' 1 1 's/version(1.0)/version(1.1)/'
expect 'a new interface' 1 0 \
  's/^\[uuid(676E0020/[object, uuid(00000000-0000-0000-0000-000000000001)] interface INuovo : IDispatch { [id(1)] HRESULT Nuovo(); }\n&/
   s/    \[default\] interface INerioComponent;/&\n    interface INuovo;/'

status=0
scripts/idl-diff no-such-tag 2>said || status=$?
[ "$status" = 2 ] && grep -q 'no revision no-such-tag' said || { echo "FAILED: an unknown revision: $status"; failures=$((failures + 1)); }
echo "$ran changes, $failures failed"
[ "$failures" = 0 ]
