#!/usr/bin/env bash
# Pastes every example of --help into bash, each beside the settings and files that it speaks of, and expects it to work.
# usage: help_examples_test.sh PROGRAM
set -u
program=$(realpath "$1")
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin" "$folder/lib"
cp "$program" "$folder/bin/nerio" || exit 1
# The trace file lies beside the library, so the examples get a library of their own.
cp -L "$(ldd "$program" | awk '/libnerio/ { print $3 }')" "$folder/lib/" || exit 1
export PATH=$folder/bin:$PATH LD_LIBRARY_PATH=$folder/lib NERIO_REGISTRY=$folder/registry LANG=C.UTF-8
export SHELL=$(command -v bash)
unset LC_ALL LC_TIME LC_NUMERIC
ran=0 failures=0

# What the examples find: a branch, an older one, a log, and files of every kind.
Prepare() {
  rm -rf "$folder/work" "$folder/registry"
  mkdir "$folder/work" && cd "$folder/work" || exit 1
  local key='HKLM\Software\Nerio\App'
  {
    nerio reg set "$key" Nome prova && nerio reg set "$key" '' predefinito && nerio reg set "$key" Lingua it &&
      nerio reg export 'HKLM\Software\Nerio' -o nerio.reg && cp nerio.reg ieri.reg
    nerio xml new impostazioni.xml impostazioni && nerio xml add impostazioni.xml /impostazioni voce &&
      nerio xml set impostazioni.xml /impostazioni/voce lingua it
  } >"$folder/prepared" || { cat "$folder/prepared"; exit 1; }
  printf 'una nota\n' >nota.txt
  printf '[Posta]\nServer=posta.example.org\n' >programma.ini
  head -c 100 /dev/urandom >immagine.png
  nerio base64 encode --bytes <immagine.png >immagine.b64
  echo prova >"$folder/lib/Nerio.log"
}

Paste() {
  local example=$1 given wanted=0 stated
  Prepare
  case $example in
    'nerio xml new '*) rm impostazioni.xml ;;
    'nerio trace tail -f') (sleep 0.5 && rm "$folder/lib/Nerio.log") & ;; # it ends with the log
    'nerio reg init '*) wanted=2 ;;                                       # refused, as the registry is the test's own
    'nerio reg watch '*) wanted=124 ;;                                    # it goes on for ever
  esac
  case $example in
    *--yes*) timeout 5 bash -c "$example" </dev/null >"$folder/said" 2>&1 ;;
    *' delete '* | *' off') echo y | script -qec "$example" /dev/null >"$folder/said" 2>&1 ;; # it asks at a terminal
    *) timeout 5 bash -c "$example" </dev/null >"$folder/said" 2>&1 ;;
  esac
  given=$?
  ran=$((ran + 1))
  # "# gives A: ..." is what it prints.
  case $example in
    *' gives '*) stated=${example#*# gives } && grep -qxF -- "${stated%%:*}" "$folder/said" || given="$given, not $stated" ;;
  esac
  [ "$given" = "$wanted" ] && ! grep -q 'see nerio .*--help' "$folder/said" && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n  exit code %s\n' "$example" "$given"
  sed 's/^/  /' "$folder/said"
}

Walk() { # WORD...: the examples of a verb or group and of all below it
  local help verb example
  help=$(nerio help "$@") || { echo "nerio help $*: $help"; exit 1; }
  while IFS= read -r example; do
    Paste "$example"
  done < <(sed -n '/^Examples:/,/^$/s/^  \(nerio .*\)/\1/p' <<<"$help")
  for verb in $(sed -n '/^Subcommands:/,/^$/s/^  \([^ ][^ ]*\).*/\1/p' <<<"$help"); do Walk "$@" "$verb"; done
}
Walk

echo "$ran examples, $failures failed"
[ "$ran" -gt 30 ] && [ "$failures" = 0 ]
