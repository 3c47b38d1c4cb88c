#!/usr/bin/env bash
# scripts/check-layers passes on the tree, and each planted wrong line makes it fail and name the file.
set -euo pipefail
check=$1
root=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$check" "$root"

plant() {  # plant FILE LINE WHAT: the checker must refuse a tree with this one line in this file
  rm -rf "$work/tree"
  mkdir -p "$work/tree/$(dirname "$1")" "$work/tree/nerio/types"
  echo '#include "nerio/types/text.h"' >"$work/tree/nerio/types/good.h"
  printf '%s\n' "$2" >"$work/tree/$1"
  local out
  if out=$("$check" "$work/tree"); then
    echo "accepted in $1: $2" >&2
    exit 1
  fi
  case $out in
    "$1:1: "*"$3"*) ;;
    *) echo "wrong message for $1: $out" >&2; exit 1 ;;
  esac
}

accept() {  # accept FILE LINE: a tree with this one line passes
  rm -rf "$work/tree"
  mkdir -p "$work/tree/$(dirname "$1")"
  printf '%s\n' "$2" >"$work/tree/$1"
  "$check" "$work/tree" || { echo "refused in $1: $2" >&2; exit 1; }
}

plant nerio/registry/a.cpp '#include "nerio/support/messages.h"' 'nerio/registry may not include nerio/support'
plant nerio/support/a.cpp '#include "nerio/registry/messages.h"' 'nerio/support may not include nerio/registry'
plant nerio/types/a.h '#include "nerio/platform/host.h"' 'nerio/types may not include nerio/platform'
plant nerio/platform/a.h '#include "nerio/hosts/linux/file_system.h"' 'nerio/platform may not include nerio/hosts/linux'
plant nerio/registry/a.cpp '#include "nerio/hosts/linux/store/registry.h"' 'may not include nerio/hosts/linux/store'
plant nerio/support/a.cpp '#include "nerio/hosts/portable/base64/base64_codec.h"' 'may not include nerio/hosts/portable/base64'
plant nerio/hosts/portable/text/a.cpp '#include "nerio/hosts/portable/regional/calendar.h"' 'may not include'
plant nerio/hosts/portable/base64/a.cpp '#include "nerio/hosts/portable/text/fold_case.h"' 'may not include'
plant nerio/hosts/portable/xml/a.cpp '#include "nerio/hosts/portable/regional/calendar.h"' 'may not include'
plant nerio/hosts/portable/regional/a.cpp '#include "nerio/hosts/windows/registry.h"' 'may not include'
plant nerio/hosts/linux/a.cpp '#include "nerio/hosts/windows/registry.h"' 'may not include'
plant nerio/hosts/linux/store/a.cpp '#include "nerio/hosts/linux/file_system.h"' 'store may not include nerio/hosts/linux'
plant nerio/hosts/windows/a.cpp '#include "nerio/hosts/linux/file_system.h"' 'may not include'
plant nerio/hosts/windows/automation/a.cpp '#include "nerio/hosts/windows/registry.h"' 'may not include'
plant nerio/component/a.cpp '#include "nerio/hosts/linux/file_system.h"' 'may not include'
plant nerio/component/windows/a.cpp '#include "nerio/hosts/linux/file_system.h"' 'may not include'
plant tools/nerio/a.cpp '#include "nerio/hosts/linux/store/registry.h"' 'tools/nerio may not include'
plant tools/nerio/a.cpp '#include "nerio/hosts/portable/text/fold_case.h"' 'tools/nerio may not include'
plant tools/nerio/a.cpp '#include "tools/nerio/verbs/arguments.h"' 'tools/nerio may not include tools/nerio/verbs'
plant tools/nerio/registry/a.cpp '#include "nerio/support/xml.h"' 'tools/nerio/registry may not include nerio/support'
plant tools/nerio/registry/a.cpp '#include "tools/nerio/verbs/arguments.h"' 'tools/nerio/registry may not include'
plant tools/nerio/verbs/a.cpp '#include "nerio/registry/native_layer.h"' 'tools/nerio/verbs may not include nerio/registry'
plant tools/nerio/verbs/a.cpp '#include "nerio/hosts/linux/store/registry.h"' 'tools/nerio/verbs may not include'
plant tools/nerio/verbs/a.cpp '#include "tools/nerio/verbs/reg/a.h"' 'tools/nerio/verbs may not include tools/nerio/verbs/reg'
plant tools/nerio/linux/a.cpp '#include "nerio/hosts/windows/registry.h"' 'tools/nerio/linux may not include'
plant tools/nerio/linux/a.cpp '#include "nerio/support/xml.h"' 'tools/nerio/linux may not include'
plant tools/nerio/windows/a.cpp '#include "nerio/hosts/linux/store/registry.h"' 'tools/nerio/windows may not include'
plant nerio/attic/a.cpp '#include "nerio/types/text.h"' 'a room that check-layers does not know'
plant nerio/registry/a.cpp '#include <windows.h>' 'only the standard library'
plant nerio/support/a.cpp '  #  include <unistd.h>' 'only the standard library'
plant nerio/hosts/portable/xml/a.cpp '#include <sys/stat.h>' 'only the standard library'
plant nerio/support/a.cpp '#include <nlohmann/json.hpp>' 'only the standard library'
plant nerio/support/a.cpp '#include <immintrin.h>' 'only the standard library'
plant nerio/support/a.h '#ifdef _WIN32' 'system named outside'
plant nerio/platform/a.h '#if defined(__linux__)' 'system named outside'
plant nerio/registry/a.cpp '#include "native_layer.h"' 'without its folder'
accept nerio/registry/a.cpp '#include "nerio/platform/registry_api.h"'
accept nerio/hosts/linux/store/a.cpp '#include <sys/stat.h>'
accept nerio/hosts/windows/automation/a.cpp '#include <windows.h>'
accept nerio/hosts/portable/base64/a.cpp '#include <immintrin.h>'
accept tools/nerio/verbs/a.cpp '#include "nerio/support/xml.h"'
accept tools/nerio/verbs/reg/a.cpp '#include "tools/nerio/verbs/arguments.h"'
accept tools/nerio/linux/a.cpp '#include "nerio/hosts/linux/store/registry_doctor.h"'
accept tools/nerio/windows/a.cpp '#include <windows.h>'
accept tools/nerio/a.cpp '#include <nlohmann/json.hpp>'
if "$check" "$work/nowhere" 2>/dev/null; then
  echo 'accepted a tree that is not there' >&2
  exit 1
fi
mkdir "$work/empty"
if "$check" "$work/empty" 2>/dev/null; then
  echo 'accepted a tree without sources' >&2
  exit 1
fi
echo 'check-layers: every planted line was refused'
