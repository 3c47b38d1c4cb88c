#!/usr/bin/env bash
# scripts/release in a repository of its own, where what builds the packages is replaced: it refuses each thing that would break
# a promise and says what to do, compares two builds, and leaves the files with their checksums.
# usage: release_test.sh SOURCE_FOLDER
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export GIT_AUTHOR_NAME=test GIT_AUTHOR_EMAIL=test@example.org GIT_COMMITTER_NAME=test GIT_COMMITTER_EMAIL=test@example.org
place=nerio/component/windows
mkdir -p "$folder/tree/scripts" "$folder/tree/packaging" "$folder/tree/$place"
cd "$folder/tree"
cp "$1"/scripts/{release,idl-diff} scripts/
cp "$1"/$place/{nerio.idl,interface.txt} $place/
echo 'project(Nerio VERSION 0.2.0 LANGUAGES CXX)' >CMakeLists.txt
printf '# Changelog\n\n## 0.2.0 - 2026-01-31\n' >CHANGELOG.md
echo build >.gitignore
script() { printf '#!/bin/sh\n%s\n' "$2" >"$1" && chmod +x "$1"; }  # script FILE LINE
script scripts/setup ''
script scripts/abi-diff 'echo "a class changed"; exit 1'
script packaging/make-deb 'echo deb >"$1/one.deb"'
script packaging/make-windows 'echo "zip $2 $3" >"$1/one.zip"'
script packaging/make-sbom 'echo sbom >"$1/one.spdx"'
git init -q .
git add .
git commit -q -m 'the first release'
git tag start

failures=0 ran=0
# expect WHAT ANSWER WORDS VERSION [ARGUMENT...]: what scripts/release answers, and words that it says
expect() {
  local said status=0
  ran=$((ran + 1))
  said=$(scripts/release "${@:4}" 2>&1) || status=$?
  if [ "$status" != "$2" ] || ! grep -qF -- "$3" <<<"$said"; then
    failures=$((failures + 1))
    printf 'FAILED: %s: %s\n%s\n' "$1" "$status" "$said"
  fi
}
commit() { git commit -q -a -m 'a change'; }
again() { git tag -d v0.1.0 v0.2.0 v0.2.1 v0.10.0 >/dev/null 2>&1 || true; git reset -q --hard start; }
next() { # next VERSION: the tree becomes that version's
  sed -i "s/VERSION [0-9.]*/VERSION $1/" CMakeLists.txt
  sed -i "s/^## [0-9.]*/## $1/" CHANGELOG.md
  commit
}

expect 'no version' 2 'scripts/release VERSION'
expect 'half a version' 2 'scripts/release VERSION' 0.2
expect 'another version' 1 'CMakeLists.txt says 0.2.0' 0.3.0
echo >>CHANGELOG.md
expect 'a change that is not committed' 1 'not committed' 0.2.0
again
sed -i 's/^## 0.2.0.*/## Unreleased/' CHANGELOG.md && commit
expect 'a changelog without the version' 1 'call what is new "## 0.2.0 - ' 0.2.0
again
git tag v0.2.0
expect 'a version that is released' 1 'v0.2.0 is released' 0.2.0
again
git tag v0.10.0
expect 'an earlier version' 1 'v0.2.0 comes before v0.10.0' 0.2.0
again
sed -i 's/id(5)/id(50)/' $place/nerio.idl && commit
expect 'an interface that is not on record' 1 'not the one on record' 0.2.0
git tag v0.1.0 start
scripts/idl-diff --record && commit
expect 'an interface that breaks clients' 1 'breaks clients of v0.1.0' 0.2.0
again
git tag v0.2.0 && next 0.2.1
expect 'an ABI that breaks programs' 1 'programs built with v0.2.0 would break' 0.2.1
again
git tag v0.1.0
expect 'an ABI that another minor version may break' 0 'build/release-0.2.0 is whole' 0.2.0
again
script packaging/make-deb 'pwd >"$1/one.deb"; cp "$0" "$1/"; echo "$1" >>"$1/one.deb"' && commit
expect 'two builds that differ' 1 'two builds differ' 0.2.0
again
script packaging/make-windows 'exit 3' && commit
expect 'a build that fails' 3 '== building' 0.2.0
again
expect 'a certificate that is not there' 1 'none.p12 cannot be read' 0.2.0 --sign none.p12 none
touch "$folder/own.p12" "$folder/password"
expect 'a whole release' 0 'git tag v0.2.0' 0.2.0 --sign "$folder/own.p12" "$folder/password"
(cd build/release-0.2.0 && sha256sum --quiet -c SHA256SUMS && [ "$(wc -l <SHA256SUMS)" = 4 ] &&
  [ "$(cat one.zip)" = "zip $folder/own.p12 $folder/password" ] &&
  grep -q '^nerio-0.2.0/CHANGELOG.md$' <<<"$(tar -tzf nerio-0.2.0.tar.gz)") ||
  { echo "FAILED: the files of the release: $(ls build/release-0.2.0)"; failures=$((failures + 1)); }
echo "$ran runs, $failures failed"
[ "$failures" = 0 ]
