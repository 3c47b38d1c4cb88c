#!/usr/bin/env bash
# The files of a release as a whole: the checksums, the list of contents, and the signatures of what is for Windows.
# usage: files_test.sh FOLDER CERTIFICATE     CERTIFICATE: the one that is expected to have signed, as PEM
set -euo pipefail
export LC_ALL=C
certificate=$(realpath "$2")
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*" >&2
  exit 1
}

echo '== SHA256SUMS'
sha256sum --quiet -c SHA256SUMS
[ "$(cut -c 67- SHA256SUMS)" = "$(ls -I SHA256SUMS)" ] || fail 'SHA256SUMS does not name each file'
for file in libnerio[0-9]*_*.deb libnerio-dev_*.deb nerio_*.deb nerio-*.zip nerio-*.msi nerio-*.tar.gz nerio-*.spdx; do
  [ -s "$file" ] || fail "there is no $file"
done

echo '== the list of contents'
list=$(echo nerio-*.spdx)
for field in SPDXVersion DataLicense DocumentName DocumentNamespace Creator Created; do
  [ "$(grep -c "^$field: ." "$list")" = 1 ] || fail "$list: not one $field"
done
identifiers=$(sed -n 's/^SPDXID: //p' "$list" | sort)
[ "$identifiers" = "$(uniq <<<"$identifiers")" ] || fail "$list: one identifier for two things"
while read -r from _ to; do
  for end in "$from" "$to"; do grep -qxF "$end" <<<"$identifiers" || fail "$list: nothing is called $end"; done
done < <(sed -n 's/^Relationship: //p' "$list")
[ "$(sed -n 's/^PackageName: //p' "$list" | paste -sd ' ')" = 'nerio CLI11 nlohmann-json gcc-runtime mingw-w64-runtime' ] ||
  fail "$list: other packages"
[ "$(grep -c '^PackageVersion: [0-9]' "$list")" = 5 ] || fail "$list: a package without its version"
awk '/^FileName: / { file = substr($2, 3) } /^FileChecksum: SHA256: / { print $3 "  " file }' "$list" >"$work/listed"
grep -v ' nerio-.*\.spdx$' SHA256SUMS | diff - "$work/listed" || fail "$list: other files or checksums"

echo '== the signatures'
unzip -q nerio-*-windows.zip -d "$work"
for file in "$work"/*/Nerio.dll "$work"/*/nerio.exe nerio-*.msi; do
  osslsigncode verify -CAfile "$certificate" -in "$file" >"$work/said" 2>&1 || fail "$file: $(cat "$work/said")"
  # One byte changed is told.
  cp "$file" "$work/changed"
  printf '\377' | dd of="$work/changed" bs=1 seek=200000 conv=notrunc status=none
  ! osslsigncode verify -CAfile "$certificate" -in "$work/changed" >/dev/null 2>&1 || fail "$file: a change is not noticed"
done
echo 'the files of the release: as expected'
