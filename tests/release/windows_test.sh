#!/usr/bin/env bash
# The packages for Windows in a fresh Wine prefix: what the .zip brings is registered, and its client compiled and run; the .msi
# is installed, used and removed, for all users and for one, and enters what regsvr32 enters.
# usage: windows_test.sh FOLDER [LAUNCHER]     FOLDER: where the packages are
set -euo pipefail
packages=$(realpath "$1") launcher=${2:-wine32}
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
export WINEPREFIX=$work/prefix
trap '"$launcher" wineboot --kill >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*" >&2
  exit 1
}
wine() { "$launcher" "$@" </dev/null 2>/dev/null | tr -d '\r'; }
windows_path() { echo "Z:${1//\//\\}"; }
mkdir "$WINEPREFIX"
wine wineboot -i >/dev/null
drive=$WINEPREFIX/drive_c

echo '== the .zip'
unzip -q "$packages"/nerio-*-windows.zip -d "$work"
content=$(echo "$work"/nerio-*-windows)
for file in Nerio.dll nerio.exe nerio.tlb Nerio.manifest LICENSE NOTICES idl/nerio.idl include/nerio_automation.h; do
  [ -s "$content/$file" ] || fail "the .zip has no $file"
done
for file in Nerio.dll nerio.exe; do
  i686-w64-mingw32-objdump --dwarf=decodedline "$content/$file.debug" >"$work/lines" 2>/dev/null
  grep -q 'trace_log.cpp' "$work/lines" || fail "$file.debug has no lines of the sources"
  grep -qa "$file\.debug" "$content/$file" || fail "$file does not name its symbol file"
done
for text in 'Runtime Library Exception' CLI11 nlohmann mingw-w64; do
  grep -qi "$text" "$content/NOTICES" || fail "NOTICES does not name $text"
done
i686-w64-mingw32-g++-posix -std=c++20 -static -I"$content/include" "$content/examples/com_client/main.cpp" \
  "$content/include/nerio_automation_i.cpp" -lole32 -loleaut32 -luuid -o "$work/client.exe"

# entries ROOT PLACE: what is registered below a root, the component's own folder written as PLACE
classes='CLSID\{C21AF465-EACB-40F2-95FE-729D6CEACC27} AppID\{C21AF465-EACB-40F2-95FE-729D6CEACC27} Nerio.Component
  Nerio.Component.1 TypeLib\{676E0020-0223-4BA2-AA47-31E654BEDF2E} Interface\{7675C634-354B-4BF8-AB28-CABA88706F2E}'
entries() {
  local key
  for key in $classes; do
    wine reg query "$1\\Software\\Classes\\$key" /s | grep -v '^$\|^reg: ' | sed 's/^HKEY_[A-Z_]*//'
  done | place=$2 awk '
    BEGIN { place = ENVIRON["place"] }
    { while ((at = index(tolower($0), tolower(place))) > 0) $0 = substr($0, 1, at - 1) "PLACE" substr($0, at + length(place)) }
    /HELPDIR$/ { helpdir = 1 } !/HELPDIR$/ && helpdir { sub(/\\$/, ""); helpdir = 0 }
    { print }'
}
use() { # use TOOL: the examples of the .zip and the tool
  tests/examples/component_test.sh "$launcher" "$content" "$work/client.exe" || fail 'the examples'
  [ "$(wine "$1" reg get 'HKLM\Software\Nerio\Esempio C++' Lingua)" = it ] || fail "$1 does not see the setting"
}

mkdir "$drive/Nerio"
cp "$content"/Nerio.dll "$content"/nerio.exe "$drive/Nerio/"
wine regsvr32 /s 'C:\Nerio\Nerio.dll'
entries HKLM 'C:\Nerio' >"$work/registered"
[ "$(wc -l <"$work/registered")" -gt 40 ] || fail "regsvr32 entered: $(cat "$work/registered")"
use 'C:\Nerio\nerio.exe'
wine regsvr32 /u /s 'C:\Nerio\Nerio.dll'

# merge copy|delete: Wine has no merged view of a user's classes and the machine's, which Windows has by itself
merge() {
  local key
  for key in $classes; do
    case $1 in
      copy) wine reg copy "HKCU\\Software\\Classes\\$key" "HKLM\\Software\\Classes\\$key" /s /f ;;
      delete) wine reg delete "HKLM\\Software\\Classes\\$key" /f ;;
    esac >/dev/null || fail "the classes: $1 $key"
  done
}

# install WHAT ROOT PROPERTY...: Wine takes the same folder for all and for one
install() {
  local folder="$drive/Program Files/Nerio" place='C:\Program Files\Nerio'
  echo "== the .msi, $1"
  wine msiexec /i "$(windows_path "$packages")\\$msi" /qn "${@:3}" || fail "$1: msiexec answers $?"
  for file in Nerio.dll nerio.exe LICENSE NOTICES; do
    cmp "$content/$file" "$folder/$file" || fail "$1: $file is not what the .zip has"
  done
  entries "$2" "$place" >"$work/installed"
  diff "$work/registered" "$work/installed" || fail "$1: the .msi (>) does not enter what regsvr32 enters (<)"
  [ "$2" = HKLM ] || merge copy
  use "$place\\nerio.exe"
  [ "$2" = HKLM ] || merge delete
  wine msiexec /x "$(windows_path "$packages")\\$msi" /qn "${@:3}" || fail "$1: msiexec answers $?"
  [ ! -e "$folder" ] || fail "$1: after the removal there is $(ls -R "$folder")"
  [ -z "$(entries "$2" '|')" ] || fail "$1: after the removal there is $(entries "$2" '|')"
  [ "$(wine 'C:\Nerio\nerio.exe' reg get 'HKLM\Software\Nerio\Esempio C++' Lingua)" = it ] || fail "$1: the removal took the settings"
}
msi=$(cd "$packages" && echo nerio-*.msi)
install 'for all users' HKLM
install 'for one user' HKCU ALLUSERS=
echo 'the packages for Windows: as expected'
