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
  mkdir -p "$work/tree/$(dirname "$1")" "$work/tree/types"
  echo '#include "types/text.h"' >"$work/tree/types/good.h"
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

plant registry/a.cpp '#include "support/messages.h"' 'registry may not include support'
plant support/a.cpp '#include "registry/messages.h"' 'support may not include registry'
plant types/a.h '#include "platform/host.h"' 'types may not include platform'
plant platform/a.h '#include "platform/linux/registry.h"' 'platform may not include platform/linux'
plant platform/portable/a.cpp '#include "platform/windows/registry.h"' 'may not include'
plant platform/linux/a.cpp '#include "platform/windows/registry.h"' 'may not include'
plant registry/a.cpp '#include "platform/linux/registry.h"' 'registry may not include platform/linux'
plant tools/nerio/a.cpp '#include "platform/linux/registry.h"' 'tools may not include platform/linux'
plant registry/a.cpp '#include <windows.h>' 'only the standard library'
plant support/a.cpp '  #  include <unistd.h>' 'only the standard library'
plant platform/portable/a.cpp '#include <sys/stat.h>' 'only the standard library'
plant support/a.cpp '#include <nlohmann/json.hpp>' 'only the standard library'
plant support/a.cpp '#include <immintrin.h>' 'only the standard library'
plant support/a.h '#ifdef _WIN32' 'system named outside'
plant platform/a.h '#if defined(__linux__)' 'system named outside'
plant registry/a.cpp '#include "native_layer.h"' 'without its folder'
accept registry/a.cpp '#include "platform/registry_api.h"'
accept platform/linux/a.cpp '#include <sys/stat.h>'
accept platform/windows/a.cpp '#include <windows.h>'
accept platform/portable/a.cpp '#include <immintrin.h>'
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
