#!/usr/bin/env bash
# Compares what every verb answers, as text and with --json, with golden.txt: where all is well, where something is missing, where
# access is denied, and for bad input. A line of that file "== VERB, SITUATION: ARGUMENTS" is run in a folder of its own; what
# follows it is the answer. Arguments that begin with "-: " say instead why there is no such situation.
# usage: golden_test.sh PROGRAM GOLDEN [--print]    --print: writes the file as it would have to be, for when a change is meant
set -u
program=$(realpath "$1") golden=$(realpath "$2")
folder=$(mktemp -d) || exit 1
trap 'chmod -R u+rwx "$folder"; rm -rf "$folder"' EXIT
mkdir "$folder/bin" "$folder/lib" "$folder/template"
cp "$program" "$folder/bin/nerio" || exit 1
# The trace file lies beside the library, so the runs have a library of their own.
cp -L "$(ldd "$program" | awk '/libnerio/ { print $3 }')" "$folder/lib/" || exit 1
export PATH=$folder/bin:$PATH LD_LIBRARY_PATH=$folder/lib LANG=C.UTF-8 HOME=$folder
unset LC_ALL LC_TIME LC_NUMERIC XDG_DATA_HOME
# For a build with AddressSanitizer: the C library loses this memory when it looks for a locale that is not installed.
echo leak:argz_add_sep >"$folder/known_leaks"
export LSAN_OPTIONS=suppressions=$folder/known_leaks:print_suppressions=0

# What each run finds. Where access is denied, Chiusa, the folder chiusa, chiuso.xml, chiuso.reg and the trace log with its
# folder are closed to it; where something is missing, there is no log; where something is damaged, a byte of App's values is
# another one.
(
  cd "$folder/template" || exit 1
  export NERIO_REGISTRY=$folder/template/registry
  nerio reg set 'HKLM\Nerio\App' Nome prova && nerio reg set 'HKLM\Nerio\App' Livello 10 --type dword &&
    nerio reg create 'HKLM\Nerio\App\Sotto' && nerio reg set 'HKLM\Nerio\Chiusa' Nome prova &&
    nerio reg export 'HKLM\Nerio\App' -o buono.reg && echo REGEDIT5 >cattivo.reg && cp buono.reg chiuso.reg
  printf '[HKLM\\Nerio\\Chiusa]\n"a"="b"\n' | sed '1i REGEDIT4' >negato.reg
  printf '[Sezione]\nNome=altro\n' >buono.ini && printf '<a/>\r\n' >piano.xml
  printf '<a b="c"><d>testo</d></a>\n' >buono.xml
  cp buono.xml chiuso.xml && echo '<a>' >cattivo.xml && mkdir chiusa
) >"$folder/prepared" || { cat "$folder/prepared"; exit 1; }

# The superuser may do everything, so it runs all of this as somebody else.
somebody=()
if [ "$(id -u)" = 0 ]; then
  chmod 755 "$folder"
  chown -R 65534 "$folder/template" "$folder/lib"
  somebody=(setpriv --reuid 65534 --clear-groups)
fi

Run() { # SITUATION COMMAND: runs it in a fresh copy of the template
  local given
  chmod -R u+rwx "$folder/lib" "$folder/work" 2>/dev/null
  rm -rf "$folder/work" "$folder/lib/Nerio.log"
  cp -a "$folder/template" "$folder/work" && cd "$folder/work" || exit 1
  [ "$1" = missing ] || printf 'una riga\n' | "${somebody[@]:-env}" tee "$folder/lib/Nerio.log" >"$folder/tee"
  [ "$1" != damaged ] || sed -i s/prova/prove/ "$(find registry -path '*app/%values')"
  if [ "$1" = denied ]; then
    chmod 000 chiuso.xml chiuso.reg chiusa "$folder/lib/Nerio.log" "$(find registry -type d -name chiusa)"
    chmod 555 "$folder/lib"
  fi
  NERIO_REGISTRY=$folder/work/registry "${somebody[@]:-env}" bash -c "$2" >"$folder/out" 2>"$folder/err" </dev/null
  given=$?
  echo "exit $given"
  sed 's/^/out: /' "$folder/out"
  sed 's/^/err: /' "$folder/err"
}
# What a watched key and a followed log meet: each change is waited for, then the watch is told to end.
cat >"$folder/bin/seen" <<END
#!/usr/bin/env bash
for _ in {1..500}; do grep -q "\$1" $folder/\$2 && exit; sleep 0.02; done
END
cat >"$folder/bin/change-app" <<END
#!/usr/bin/env bash
seen watching err
nerio reg set 'HKLM\\Nerio\\App' Via Roma >said && seen Roma out
nerio reg set 'HKLM\\Nerio\\App' Via Corta >said && seen Corta out
nerio reg delete 'HKLM\\Nerio\\App\\Sotto' --yes >said && seen Sotto out
kill "\$1"
END
cat >"$folder/bin/stop-trace" <<END
#!/usr/bin/env bash
seen riga out && nerio trace off --yes >said
END
chmod 755 "$folder"/bin/*

# What differs from run to run and from machine to machine.
Normal() {
  tr -d '\r\000' | iconv -f UTF-8 -t UTF-8 -c | sed -E "s|$folder|FOLDER|g; s/[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}/GUID/g
    s/%left-[0-9a-f]{32}/%left-ID/; s/(who can write to it: |\"writers\":\")[^\"]*/\1SOMEBODY/; s/[0-9]+\.[0-9]+\.[0-9]+(\"|$)/VERSION\1/"
}

Print() {
  local line verb situation arguments
  sed '/^==/,$d' "$golden"
  while IFS= read -r line; do
    verb=${line#== } && verb=${verb%%,*}
    situation=${line#*, } && situation=${situation%%:*}
    arguments=${line#*: }
    echo "$line"
    [[ $arguments == '-: '* ]] && { echo; continue; }
    Run "$situation" "nerio $arguments"
    echo "-- with --json"
    Run "$situation" "nerio --json $arguments"
    echo
  done < <(grep '^== ' "$golden")
}
Print | Normal >"$folder/printed"
if [ "${3:-}" = --print ]; then
  cat "$folder/printed"
  exit
fi

failures=0
Walk() { # WORD...: every verb has a line for each situation, and every option of its own
  local help verb situation option
  help=$(nerio help "$@") || exit 1
  for verb in $(sed -n '/^Subcommands:/,/^$/s/^  \([^ ][^ ]*\).*/\1/p' <<<"$help"); do Walk "$@" "$verb"; done
  grep -q '^Subcommands:' <<<"$help" && return
  for situation in ok missing denied bad; do
    grep -q "^== $*, $situation: " "$golden" && continue
    failures=$((failures + 1))
    echo "FAILED: golden.txt has no line \"== $*, $situation: ...\""
  done
  for option in $(sed -n '/^Options:/,/^$/s/^  \(-[^ ]*\).*/\1/p' <<<"$help"); do
    case $option in -h,--help | --json | --view) continue ;; esac
    grep "^== $*, " "$golden" | grep -qE -- " (${option//,/|})( |\$)" && continue
    failures=$((failures + 1))
    echo "FAILED: golden.txt has no line of $* with $option"
  done
}
Walk
for code in 0 1 2 3 4 5; do
  grep -qx "exit $code" "$golden" && continue
  failures=$((failures + 1))
  echo "FAILED: golden.txt has no exit code $code"
done
diff -u "$golden" "$folder/printed" || {
  failures=$((failures + 1))
  echo "FAILED: if this is meant: tests/tools/golden_test.sh PROGRAM tests/tools/golden.txt --print > new && mv new tests/tools/golden.txt"
}
echo "$(grep '^== ' "$golden" | grep -vc ': -: ') cases, $failures failed"
[ "$failures" = 0 ] && [ "$(grep -c '^== ' "$golden")" -gt 100 ]
