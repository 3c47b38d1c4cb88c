#!/usr/bin/env bash
# Looks whether files that are built have what makes an attack harder, and exits 1 naming each that has not.
#
#   hardening.sh FILE...     libraries and programs of Linux or 32-bit Windows
set -euo pipefail
failed=0

wants() {  # wants FILE WHAT COMMAND...: the command's answer is not empty
  local file=$1 what=$2
  shift 2
  if [ -z "$("$@" 2>/dev/null || true)" ]; then
    echo "$file: no $what"
    failed=1
  fi
}

headers() { readelf -lW "$1"; }
dynamic() { readelf -dW "$1"; }
symbols() { readelf -sW --dyn-syms "$1"; }
characteristics() { objdump -p "$1"; }

for file in "$@"; do
  case $(head -c 2 "$file") in
    MZ)
      for flag in DYNAMIC_BASE NX_COMPAT; do wants "$file" "$flag" grep -w "$flag" <(characteristics "$file"); done
      ;;
    *)
      wants "$file" "stack that is not executable" grep 'GNU_STACK.* RW ' <(headers "$file")
      wants "$file" "section that is read-only after relocation" grep GNU_RELRO <(headers "$file")
      wants "$file" "immediate binding" grep -w NOW <(dynamic "$file")
      wants "$file" "position independence" grep 'Type:.*DYN' <(readelf -hW "$file")
      wants "$file" "stack protector" grep __stack_chk_fail <(symbols "$file")
      ;;
  esac
done
exit $failed
