#!/usr/bin/env bash
# Compilers, analysers, sanitizers, coverage, hardening and equal bytes. A part of scripts/check long.
#
#   run.sh [STEP...]     STEP: compilers, analysers, asan, valgrind, coverage, hardening, bytes; all by default
set -euo pipefail
cd "$(dirname "$0")/../../.."
here=tests/reliability/analysis
build=build/analysis
failed=0
mkdir -p "$build"

fail() {
  echo "analysis: $*" >&2
  failed=1
}

# The runners of GoogleTest of a build, without what takes long and finds nothing of this kind.
tests_of() { find "$1" -type f -perm -u+x \( -name nerio_tests -o -name registry_faults_tests -o -name nerio_support_memory_tests \); }

compilers() {
  local compiler
  for compiler in g++ clang++; do
    if CXX=$compiler cmake -S . -B "$build/$compiler" -G Ninja -DCMAKE_BUILD_TYPE=Release -DNERIO_WERROR=ON >&2 \
      && cmake --build "$build/$compiler" >&2; then
      echo "figure: $("$compiler" --version | sed -n 1p): everything compiles, warnings are errors"
    else
      fail "$compiler does not compile everything without a warning"
    fi
  done
}

analysers() {
  local found
  if scripts/check --product >&2; then
    echo "figure: $(clang-tidy --version | sed -n 's/.*\(version [0-9.]*\).*/clang-tidy \1/p'): library and tool, nothing found"
  else
    fail "scripts/check --product"
  fi
  if found=$(cppcheck --std=c++20 --enable=warning,performance,portability --suppressions-list="$here/cppcheck.txt" -I . -q \
    -j "$(nproc)" --error-exitcode=1 nerio tools 2>&1); then
    echo "figure: $(cppcheck --version): nerio and tools, nothing but the $(grep -cv '^#' "$here/cppcheck.txt") kinds that are explained"
  else
    echo "$found" >&2
    fail "cppcheck"
  fi
  # A planted fault.
  mkdir -p "$build/planted"
  printf 'int f() { int* p = new int[3]; return p[3]; }\n' >"$build/planted/fault.cpp"
  if cppcheck -q --error-exitcode=1 "$build/planted/fault.cpp" >/dev/null 2>&1; then
    fail "cppcheck does not see a planted fault"
  else
    echo "planted: an array that is read beyond its end and never freed is found by cppcheck"
  fi
}

asan() {
  { cmake --preset asan && cmake --build build/asan; } >&2
  rm -rf build/asan/results build/asan/ctest.xml
  ctest --test-dir build/asan -LE 'nosanitize|reliability' -j "$(nproc)" --output-junit "$PWD/build/asan/ctest.xml" >&2 \
    || fail "AddressSanitizer, LeakSanitizer or UndefinedBehaviorSanitizer"
  echo "figure: AddressSanitizer, LeakSanitizer, UndefinedBehaviorSanitizer: $(scripts/count-tests build/asan | sed -n '1s/ / tests passed, /p') failed"
}

valgrind() {
  { cmake --preset debug && cmake --build build/debug --target nerio_tests; } >&2
  local log=$build/valgrind.log
  # The tests of registry, support and types; what forks, waits or changes limits is left to the sanitizers.
  if command valgrind -q --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite \
    build/debug/tests/nerio_tests --gtest_brief=1 \
    --gtest_filter='*Xml*:*Base64*:*Template*:*Record*:*Conversion*:*Variant*:*Ansi*:*Text*:CRegistry*:*Native*:ValuesFile*:-XmlConf*:LongXml*:*Memory*:*Large*' \
    >"$log" 2>&1; then
    echo "figure: $(command valgrind --version): $(grep -oE '[0-9]+ tests? from' "$log" | sed -n '1s/ .*//p') tests, no error, nothing lost"
  else
    tail -n 40 "$log" >&2
    fail "valgrind, all of it in $log"
  fi
}

coverage() {
  local folder=$build/coverage profiles file objects=()
  # At -O0: what is counted is what is written. A branch is a condition that came out true, or false; one of a template counts
  # once, however many types it is made for, and what only an exception takes is none.
  CXX=clang++ cmake -S . -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DNERIO_TESTS=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
    -DCMAKE_CXX_FLAGS='-fprofile-instr-generate -fcoverage-mapping' >&2
  cmake --build "$folder" >&2
  # The tool and the library are run by other users, too: they add to the same files.
  profiles=$(mktemp -d)
  chmod 1777 "$profiles"
  LLVM_PROFILE_FILE=$profiles/%m.profraw "$folder/tools/nerio/nerio" --version >&2
  chmod a+rw "$profiles"/*
  LLVM_PROFILE_FILE=$profiles/%m.profraw \
    ctest --test-dir "$folder" -LE 'nosanitize|reliability' -E 'install|stress|tsan' -j "$(nproc)" --output-on-failure >&2 \
    || fail "a test of the coverage build"
  llvm-profdata merge -sparse "$profiles"/*.profraw -o "$folder/profile"
  rm -rf "$profiles"
  while read -r file; do objects+=("$file"); done < <(find "$folder" -type f -perm -u+x ! -path '*/CMakeFiles/*' -exec sh -c \
    'for file; do case $(readelf -SW "$file" 2>/dev/null) in *__llvm_covmap*) echo "$file" ;; esac; done' sh {} +)
  llvm-cov report -instr-profile "$folder/profile" "${objects[0]}" "${objects[@]/#/-object=}" -show-branch-summary "$PWD/nerio" \
    >"$folder/report.txt"
  llvm-cov export -summary-only -instr-profile "$folder/profile" "${objects[0]}" "${objects[@]/#/-object=}" "$PWD/nerio" \
    >"$folder/report.json"
  python3 - "$folder/report.json" <<'PYTHON' || fail "coverage, file by file in $folder/report.txt"
import json, sys
total = json.load(open(sys.argv[1]))["data"][0]["totals"]
lines, branches = total["lines"], total["branches"]
print(f"figure: llvm-cov: {lines['percent']:.1f} % of {lines['count']} lines and {branches['percent']:.1f} % of {branches['count']} branches "
      "of the layer and its Linux host")
sys.exit(lines["percent"] < 95 or branches["percent"] < 90)
PYTHON
}

# The release build as a user makes it, in a folder.
release_in() {
  rm -rf "$1"
  mkdir -p "$1"
  git archive HEAD | tar -x -C "$1"
  (cd "$1" && cmake --preset release -DCMAKE_CXX_FLAGS="-ffile-prefix-map=$1=." && cmake --build build/release) >&2
}

bytes() {
  local first=$PWD/$build/first second file
  second=$(mktemp -d)
  release_in "$first"
  release_in "$second/another place"
  for file in nerio/component/libnerio.so tools/nerio/nerio; do
    cmp "$first/build/release/$file" "$second/another place/build/release/$file" >&2 || fail "$file differs when it is built elsewhere"
  done
  rm -rf "$second"
  echo "figure: libnerio.so and nerio have the same bytes from two folders"
}

hardening() {
  { cmake --preset release && cmake --build build/release; } >&2
  local files=(build/release/nerio/component/libnerio.so build/release/tools/nerio/nerio)
  if scripts/setup windows >&2; then
    { cmake --preset release-windows && cmake --build build/release-windows; } >&2
    files+=(build/release-windows/nerio/component/windows/Nerio.dll build/release-windows/tools/nerio/nerio.exe)
  else
    echo "not run: the files for Windows: no mingw-w64"
  fi
  if "$here/hardening.sh" "${files[@]}" >&2; then
    echo "figure: ${#files[@]} files: addresses at random, no executable stack; for Linux also immediate binding, read-only relocations, stack protector"
  else
    fail "hardening"
  fi
  printf 'int main() { return 0; }\n' >"$build/plain.cpp"
  g++ -no-pie -z execstack -z norelro "$build/plain.cpp" -o "$build/plain"
  if "$here/hardening.sh" "$build/plain" >/dev/null; then
    fail "a program without any of it passes"
  else
    echo "planted: a program with an executable stack at a fixed address is refused"
  fi
}

[ $# -gt 0 ] || set -- compilers analysers asan valgrind hardening bytes coverage
for step in "$@"; do
  echo "== $step" >&2
  "$step"
done
exit $failed
