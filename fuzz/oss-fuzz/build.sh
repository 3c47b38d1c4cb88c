#!/bin/bash -eu
# Builds the fuzz targets as a fuzzing service asks for it: with its compilers and flags, into $OUT, each target with its first
# inputs and its dictionary. Runs in the root of the tree; what it needs is in the Dockerfile beside it.
#
#   CC CXX CFLAGS CXXFLAGS LIB_FUZZING_ENGINE OUT     given by the service; WORK: where it builds, build/oss-fuzz by default
cd "$(dirname "${BASH_SOURCE[0]}")"
[ -d "${SRC:-}/nerio" ] && cd "$SRC/nerio" || cd ../..
work=${WORK:-$PWD/build/oss-fuzz}

cmake -S . -B "$work" -G Ninja -DCMAKE_BUILD_TYPE=None -DBUILD_SHARED_LIBS=OFF -DNERIO_FUZZ=ON -DNERIO_TESTS=OFF \
  -DNERIO_EXAMPLES=OFF -DNERIO_INSTALL=OFF -DNERIO_FUZZ_ENGINE="$LIB_FUZZING_ENGINE" -DNERIO_FUZZ_STATIC_ORACLES=ON
cmake --build "$work" --target nerio_fuzz_targets

for target in "$work"/fuzz/fuzz_*; do
  [ -x "$target" ] && [ -f "$target" ] || continue
  name=${target##*/fuzz_}
  cp "$target" "$OUT/"
  (cd "fuzz/corpus/$name" && cmake -E tar cf "$OUT/fuzz_${name}_seed_corpus.zip" --format=zip -- *)
  case $name in xml_*) cp fuzz/xml.dict "$OUT/fuzz_$name.dict" ;; esac
done
