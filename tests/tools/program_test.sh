#!/usr/bin/env bash
# Runs the tool as its users do, as a process of its own: arguments, standard input, exit code, the bytes on standard output and
# in files. One list of runs for every host, so that what one answers the others answer too.
# usage: program_test.sh HOST VERSION PROGRAM LIBRARY [LAUNCHER]
#   LIBRARY    the shared library that the program runs on; "" where it has none
#   LAUNCHER   starts programs of the other system
set -u
host=$1 version=$2 launcher=${5:-}
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
# The trace file lies beside the library, so both are copies.
mkdir "$folder/bin" "$folder/lib" "$folder/work"
cp "$3" "$folder/bin/" || exit 1
program=$folder/bin/$(basename "$3")
beside=$folder/bin
if [ -n "$4" ]; then
  cp -L "$4" "$folder/lib/" || exit 1
  beside=$folder/lib
fi
cd "$folder/work" || exit 1
export LD_LIBRARY_PATH=$folder/lib NERIO_REGISTRY=$folder/registry
unset LC_ALL LC_TIME LC_NUMERIC
export LANG=C.UTF-8
# For a build with AddressSanitizer: the C library loses this memory when it looks for a locale that is not installed.
echo leak:argz_add_sep >"$folder/known_leaks"
export LSAN_OPTIONS=suppressions=$folder/known_leaks:print_suppressions=0

checks=0 failures=0
input='' # what the next run reads, as a format of printf

Tool() {
  if [ -n "$launcher" ]; then "$launcher" "$program" "$@"; else "$program" "$@"; fi
}

# Run EXIT OUT ERR ARGUMENT...: EXIT is a pattern, OUT is a format of printf, without arguments, and gives the exact bytes; "?" leaves them in the
# file "out" for whoever asks. ERR is a pattern.
Run() {
  local exit=$1 out=$2 err=$3 given said
  shift 3
  # shellcheck disable=SC2059
  printf "$input" | Tool "$@" >out 2>err
  given=$?
  input=''
  said=$(<err)
  checks=$((checks + 1))
  # shellcheck disable=SC2053
  [[ $given == $exit ]] || Fail "exit code $given instead of $exit" "$@"
  # shellcheck disable=SC2053
  [[ $said == $err ]] || Fail "it said: $said" "$@"
  if [ "$out" != '?' ]; then
    # shellcheck disable=SC2059
    printf "$out" >expected
    Same out expected "$@"
  fi
}
Fail() { # WHAT ARGUMENT...
  failures=$((failures + 1))
  printf 'FAILED: nerio %s\n  %s\n' "${*:2}" "$1"
}
# Same FILE WANTED ARGUMENT...: compares the bytes of two files.
Same() {
  checks=$((checks + 1))
  cmp -s "$1" "$2" && return
  Fail "the bytes are not the wanted ones" "${@:3}"
  diff <(od -c "$2") <(od -c "$1") | head -n 20
}

key='HKLM\Software\Nerio\Prova del programma'
long='HKEY_LOCAL_MACHINE\Software\Nerio\Prova del programma'
shown=${long//\\/\\\\}
Tool reg delete "$key" --recursive --yes >out 2>err # what a run that was broken off left

# Usage.
Run 0 "nerio $version\n" '' --version
Run 2 '' '*see nerio --help*' ''
Run 2 '' '*see nerio --help*' nessuno
Run 2 '' '*see nerio reg get --help*' reg get
Run 0 '?' '' reg get --help
case $host in
  linux) Run 0 'one view: 32-bit and 64-bit programs see the same registry\n' '' --view ;;
  windows) Run 0 'the 32-bit view, the only one of this system\n' '' --view ;;
esac

# Settings.
Run 3 'no\n' '' reg test "$key"
Run 0 "stored \"Nome\" in $shown\n" '' reg set "$key" Nome prova
Run 0 "stored the unnamed value in $shown\n" '' reg set "$key" '' predefinito
Run 0 "stored \"Citt\303\240\" in $shown\n" '' reg set "$key" Città 'Forlì €'
Run 0 'Forl\303\254 \342\202\254\n' '' reg get "$key" CITTÀ
Run 0 'yes\n' '' reg test "$key" Nome
Run 3 '' "nerio: cannot read \"Manca\" in *: it is not there (2)" reg get "$key" Manca
Run 0 'it\n' '' reg get "$key" Manca --default it
Run 0 "{\"key\":\"${shown//\\\\/\\\\\\\\}\",\"name\":\"Nome\",\"type\":\"REG_SZ\",\"data\":\"prova\",\"bytes\":\"70726f7661\"}\n" '' \
  reg get "$key" Nome --json
Run 0 "created $shown\\\\Finestre\n" '' reg create "$key\\Finestre"
Run 0 '@\tREG_SZ\tpredefinito\nCitt\303\240\tREG_SZ\tForl\303\254 \342\202\254\nNome\tREG_SZ\tprova\nFinestre\\\n' '' \
  reg list "$key"
Run 5 '' '*not in code page 1252*' reg set "$key" Nome 日本
Run 2 '' '*nobody is at a terminal to be asked*' reg delete "$key" Nome
input='y\n' Run 2 '' '*nobody is at a terminal to be asked*' reg delete "$key" Nome
Run 0 "deleted \"Nome\" in $shown\n" '' reg delete "$key" Nome --yes
Run 5 '' '*' reg get 'HKXX\Software' Nome

case $host in # without a change
  linux) Run '[24]' '' 'nerio: *machine*registry*' reg init --group root ;;
  windows) Run 2 '' '*the system keeps its registry itself*' reg init --group root ;;
esac

if [ "$host" = linux ]; then # a folder that nobody can make
  NERIO_REGISTRY=/proc/none Run 4 '' '*cannot open or create *: its root key does not exist yet, and you may not make it (2)*reg doctor*' reg set "$key" a b
  NERIO_REGISTRY=/proc/none Run 4 '' '*cannot create *: its root key does not exist yet, and you may not make it (2)*reg doctor*' reg create "$key"
  input='REGEDIT4\n[HKCU\\a]\n' NERIO_REGISTRY=/proc/none Run 4 '' \
    '*line 2: cannot open or create *: its root key does not exist yet, and you may not make it (2)*reg doctor*' reg import -
fi

if [ "$host" = linux ]; then # what a dry run says of rights is what the import then meets
  printf 'REGEDIT4\n[%s\\Finestre\\Nuova]\n' "$long" >new.reg
  printf 'REGEDIT4\n[%s\\Finestre]\n"a"="b"\n' "$long" >value.reg
  printf 'REGEDIT4\n[-%s\\Finestre]\n' "$long" >gone.reg
  # The superuser may do everything, so it runs this as somebody else whose registry it is.
  somebody=()
  if [ "$(id -u)" = 0 ]; then
    chmod 755 "$folder"
    chmod 777 "$folder/work"
    chown -R 65534 "$folder/registry"
    somebody=(setpriv --reuid 65534 --clear-groups)
  fi
  finestre=$(find "$folder/registry" -type d -name finestre)
  for locked in "$finestre" "${finestre%/*}"; do
    chmod 555 "$locked"
    for file in new value gone; do
      ${somebody[@]+"${somebody[@]}"} "$program" reg import $file.reg --dry-run >out 2>dry
      given=$?
      ${somebody[@]+"${somebody[@]}"} "$program" reg import $file.reg >out 2>done
      wanted=$?
      checks=$((checks + 1))
      sed -i 's/; nothing was imported//' done
      [ "$wanted: $(<done)" = "$given: $(<dry)" ] || Fail "$given: $(<dry)"$'\n'"  and not as it is: $wanted: $(<done)" reg import $file.reg --dry-run
    done
    chmod 700 "$locked"
    ${somebody[@]+"${somebody[@]}"} "$program" reg create "$key\\Finestre" >out 2>err
    ${somebody[@]+"${somebody[@]}"} "$program" reg delete "$key\\Finestre\\Nuova" --yes >out 2>err
  done
  [ "$(id -u)" != 0 ] || chown -R 0 "$folder/registry"
  Tool reg delete "$key\\Finestre" a --yes >out 2>err
  mkdir -m 555 "$folder/closed"
  NERIO_REGISTRY=$folder/closed/none ${somebody[@]+"${somebody[@]}"} "$program" reg import new.reg --dry-run >out 2>err
  given=$?
  checks=$((checks + 1))
  [[ "$given: $(<err)" == '4: nerio: line 2: cannot open or create '* ]] || Fail "$given: $(<err)" reg import new.reg --dry-run
fi

# What comes, goes and changes is seen within a second where the machine is not busy.
if [ "$host" = linux ]; then
  for signal in INT TERM; do
    env --default-signal=INT "$program" reg watch "$key" >watched 2>said &
    watcher=$!
    until grep -q watching said || ! kill -0 "$watcher"; do sleep 0.02; done
    Sees() { # LINE: the last one is this within five seconds
      checks=$((checks + 1))
      local until=$((${EPOCHREALTIME/./} + 5000000))
      until [ "$(tail -n 1 watched)" = "$1" ]; do
        [ "${EPOCHREALTIME/./}" -lt "$until" ] || { Fail "it shows: $(<watched)" reg watch "$1"; return; }
        sleep 0.02
      done
    }
    Run 0 '?' '' reg set "$key" Visto uno
    Sees "+ $long"$'\tVisto\tREG_SZ\tuno'
    Run 0 '?' '' reg set "$key" Visto 2 --type dword
    Sees "~ $long"$'\tVisto\tREG_DWORD\t2'
    Run 0 '?' '' reg delete "$key" Visto --yes
    Sees "- $long"$'\tVisto\tREG_DWORD\t2'
    Run 0 '?' '' reg create "$key\\Vista"
    Sees "+ $long\\Vista"
    Run 0 '?' '' reg delete "$key\\Vista" --yes
    kill -"$signal" "$watcher"
    wait "$watcher"
    given=$?
    checks=$((checks + 1))
    [ "$given" = 0 ] || Fail "exit code $given after $signal: $(<said)" reg watch "$key"
  done
fi

# What is another user's, or nobody's to read.
if [ "$host" = linux ]; then
  somebody=()
  if [ "$(id -u)" = 0 ]; then
    chmod 755 "$folder"
    somebody=(setpriv --reuid 65534 --clear-groups)
  else
    chmod 000 "$folder/registry"/HKEY_LOCAL_MACHINE
  fi
  # Denied EXIT ARGUMENT...: as text and with --json, it fails as access denied and changes nothing.
  Denied() {
    local wanted=$1 given format
    shift
    for format in '' --json; do
      ${somebody[@]+"${somebody[@]}"} "$program" "$@" $format >out 2>err </dev/null
      given=$?
      checks=$((checks + 1))
      [ "$given" = "$wanted" ] && grep -q 'access is denied (5)' err || Fail "$given: $(<err)" "$@" $format
      [ -z "$format" ] || grep -q '"exit":4' out || Fail "$(<out)" "$@" $format
    done
  }
  Denied 4 reg set "$key" n 1 --type dword
  Denied 4 reg get "$key" n --type
  Denied 4 reg tree "$key" --depth 1
  Denied 4 reg find x "$key"
  NERIO_REGISTRY=$folder/registry Denied 3 reg find x
  Denied 4 reg diff "$key" "$key"
  Denied 4 reg copy "$key" "$key\\Copia"
  Denied 4 reg rename "$key" Nuova
  Denied 4 reg repair "$key"
  Denied 4 reg watch "$key"
  Denied 4 reg delete "$key" --yes --recursive --backup "$folder/work/backup.reg"
  [ ! -e "$folder/work/backup.reg" ] || Fail 'there is a backup' reg delete --backup
  [ "$(id -u)" = 0 ] || chmod 700 "$folder/registry"/HKEY_LOCAL_MACHINE
fi

# Arguments arrive as they were given, whatever is in them.
for value in 'a "b" c' '"' '\' 'a\' 'a b\' '\\"' 'a\"b' "it's" '' ' ' '%PATH%' '*' '?' '^&|<>' $'due\trighe' 'à è € “x”'; do
  Run 0 "stored \"v\" in $shown\n" '' reg set "$key" v -- "$value"
  printf '%s\n' "$value" >plain
  Run 0 '?' '' reg get "$key" v
  Same out plain reg set "$key" v "$value"
done
Run 0 "deleted \"v\" in $shown\n" '' reg delete "$key" v --yes

# Standard input is bytes.
input='una riga\r\n' Run 0 "stored \"Nota\" in $shown\n" '' reg set "$key" Nota --stdin
Run 0 'una riga\n' '' reg get "$key" Nota
input='\351' Run 5 '' '*not UTF-8*' reg set "$key" Nota --stdin
for ((byte = 0; byte < 256; byte++)); do printf "\\x$(printf %x "$byte")"; done >bytes
cat bytes bytes bytes >more
head -c 300000 /dev/urandom >random
for file in bytes more random; do
  { base64 -w 0 "$file" && echo; } >wanted
  Tool base64 encode --bytes <"$file" >out 2>err
  Same out wanted base64 encode --bytes "<$file"
  Tool base64 decode --bytes <wanted >out 2>err
  Same out "$file" base64 decode --bytes "<$file"
done
printf 'perché no €' | iconv -f UTF-8 -t UTF-16LE | base64 -w 0 >wanted
echo >>wanted
Run 0 '?' '' base64 encode 'perché no €'
Same out wanted base64 encode 'perché no €'
input='QQA=' Run 0 'A\n' '' base64 decode
Run 5 '' 'nerio: this is not Base64*' base64 decode 'Q*'

# .reg files, byte for byte.
cat >plain <<'REG'
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\Software\Nerio\Prova del programma]
; @="predefinito", without a terminator
@=hex(1):70,00,72,00,65,00,64,00,65,00,66,00,69,00,6e,00,69,00,74,00,6f,00
; "Città"="Forlì €", without a terminator
"Città"=hex(1):46,00,6f,00,72,00,6c,00,ec,00,20,00,ac,20
; "Nota"="una riga", without a terminator
"Nota"=hex(1):75,00,6e,00,61,00,20,00,72,00,69,00,67,00,61,00

[HKEY_LOCAL_MACHINE\Software\Nerio\Prova del programma\Finestre]

REG
{ printf '\377\376' && sed 's/$/\r/' plain | iconv -f UTF-8 -t UTF-16LE; } >branch
Run 0 '?' '' reg export "$key"
Same out branch reg export "$key"
Run 0 "exported 2 keys and 3 values to perch\303\251.reg\n" '' reg export "$key" -o perché.reg
Same perché.reg branch reg export "$key" -o perché.reg
Run 0 '?' '' reg export "$key" -o -
Same out branch reg export "$key" -o -
[ ! -e - ] || Fail "there is a file called -" reg export "$key" -o -
Run 2 '' '*--recursive*' reg delete "$key" --yes
Run 0 "deleted $shown and the 1 key below it\n" '' reg delete "$key" --recursive --yes
Run 0 '?' '' reg import perché.reg --dry-run
Run 3 'no\n' '' reg test "$key"
Run 0 'imported: 2 keys created, 3 values set\n' '' reg import perché.reg
Tool reg import - <branch >out 2>err
printf 'imported: 3 values already as in the file\n' >wanted
Same out wanted reg import -
Run 0 '?' '' reg export "$key"
Same out branch reg export "$key" 'after the import'
printf 'REGEDIT4\r\n\r\n[%s]\r\n"N\xf2"="\xe8"\r\n"n"=dword:0000000a\r\n' "$long" >ansi.reg
Run 0 'imported: 2 values set\n' '' reg import ansi.reg
Run 0 '10\n' '' reg get "$key" n
Run 0 '\303\250\n' '' reg get "$key" Nò
printf '"x"=dword:zero\r\n' >>ansi.reg
Run 5 '' 'nerio: ansi.reg:6: *nothing was imported' reg import ansi.reg
Run 3 '' '*' reg import nessuno.reg
Run 0 "deleted $shown and the 1 key below it\n" '' reg delete "$key" --recursive --yes

# An import that is asked to end takes back what it has done. The program has to be at work when it is asked.
if [ "$host" = linux ]; then
  printf 'REGEDIT4\n' >long.reg
  for ((i = 0; i < 2000; i++)); do printf '[%s\\%04d]\n' "$long" "$i" >>long.reg; done
  for signal in INT TERM HUP; do
    # The shell lets what it starts in the background ignore SIGINT; env gives it back.
    env --default-signal=INT "$program" reg import long.reg >out 2>err &
    importer=$!
    until [ -n "$(find "$folder/registry" -name '00*' -print -quit)" ] || ! kill -0 "$importer"; do sleep 0.02; done
    kill -"$signal" "$importer"
    wait "$importer"
    given=$?
    checks=$((checks + 1))
    [ "$given: $(<err)" = '1: nerio: interrupted; nothing was imported' ] || Fail "$given: $(<err)" reg import long.reg "$signal"
    Run 3 'no\n' '' reg test "$key"
  done
fi

# A path of more than 260 characters, which the ANSI functions of one host do not take.
deep=$key\\$(printf 'a%.0s' {1..130})\\$(printf 'b%.0s' {1..130})
printf 'Windows Registry Editor Version 5.00\n\n[%s]\n' "$deep" >deep.reg
Run 0 "created $shown\n" '' reg create "$key"
case $host in
  linux)
    Run 0 'imported: 2 keys created\n' '' reg import deep.reg
    Run 0 'exported 3 keys and 0 values to deep.reg\n' '' reg export "$key" -o deep.reg
    ;;
  windows)
    Run 5 '' '*line 3: *the path is longer than the system accepts*' reg import deep.reg --dry-run
    Run 5 '' '*line 3: *the path is longer than the system accepts*nothing was imported*' reg import deep.reg
    # What other programs stored, and those functions do not reach, is not passed over.
    Other() { "$launcher" 'C:\windows\system32\reg.exe' "$@" >out 2>err || Fail "reg.exe: $(<err)" "$@"; }
    Other add "$deep" /f
    Run 5 '' '*the path is longer than the system accepts*' reg export "$key" -o deep.reg
    Other delete "${deep%\\*}" /f
    Other add "$key\\piano" /f
    Other add "$key\\日本" /f
    Run 1 '' "nerio: cannot read ${long//\\/\\\\}"'\\\?\?: its name has characters outside the code page*' reg export "$key"
    Run 1 "$shown\n  piano\\\\\n  ??\\\\\n" '*outside the code page*' reg tree "$key"
    Run 1 '' '*outside the code page*' reg delete "$key" --recursive --yes
    Run 0 'yes\n' '' reg test "$key\\piano"
    Other delete "$key\\日本" /f
    ;;
esac
Run 0 '?' '' reg delete "$key" --recursive --yes

# The trace log.
Run 3 '' '*tracing is off*' trace tail
Run 0 '?' '' trace on
[ -f "$beside/Nerio.log" ] || Fail "there is no $beside/Nerio.log" trace on
Run 0 '31/12/1999\n00:00:00\n' '' date 31/12/1999 'perché'
printf 'GetDate IN : 31/12/1999\r\nGetDate OUT : 31/12/1999\r\nGetDate IN : perch\351\r\nGetDate OUT : 00:00:00\r\n' >wanted
Same "$beside/Nerio.log" wanted date 31/12/1999 perché
Run 0 'GetDate IN : perch\303\251\nGetDate OUT : 00:00:00\n' '' trace tail -n 2
if [ "$host" = linux ]; then
  # The superuser may do everything, so it runs these as somebody else: one who may not write to the log, then one who may.
  chmod 755 "$folder"
  cp "$beside/Nerio.log" kept
  somebody=()
  [ "$(id -u)" != 0 ] || somebody=(setpriv --reuid 65534 --clear-groups)
  # As EXIT OUT ERR ARGUMENT...
  As() {
    local exit=$1 out=$2 err=$3 given
    shift 3
    ${somebody[@]+"${somebody[@]}"} "$program" "$@" >out 2>err
    given=$?
    checks=$((checks + 1))
    # shellcheck disable=SC2053
    [[ $given == $exit && $(<out) == $out && $(<err) == $err ]] || Fail "$given: $(<out)"$'\n'"$(<err)" "$@"
  }
  chmod 444 "$beside/Nerio.log"
  As 4 '*bytes
on' 'nerio: you cannot append to *Nerio.log: Permission denied; WriteLog raises this*' trace status
  As 4 '*"writable":false*' '*' trace status --json
  NERIO_REGISTRY=$folder/work/none As 1 '*
trace: you cannot append to *Nerio.log: Permission denied;*not all is well' '' doctor
  As 0 '00:00:00' 'nerio: "31/12/1999" is a date; GetDate answered otherwise because it could not write to the trace log*' \
    date 31/12/1999
  As 0 '{"dates":\[{"text":"31/12/1999","result":"00:00:00","isDate":true}\]}' '*' date 31/12/1999 --json
  As 0 '00:00:00' '' date 'non una data'
  Run 0 '?' '' trace on --for-all
  As 0 '*bytes
on' '' trace status
  As 0 '31/12/1999' '' date 31/12/1999
  [ "$(stat -c %a "$beside/Nerio.log")" = 666 ] || Fail "mode $(stat -c %a "$beside/Nerio.log")" trace on --for-all
  cp kept "$beside/Nerio.log"
  # A link, and a file with a second name, may lead to anything that whoever owns the folder chose.
  mv "$beside/Nerio.log" "$beside/other"
  for link in 'ln -s' ln; do
    $link "$beside/other" "$beside/Nerio.log"
    chmod 600 "$beside/other"
    Run '[14]' '' '*cannot let everybody write to *Nerio.log*' trace on --for-all
    [ "$(stat -c %a "$beside/other")" = 600 ] || Fail "the mode of another file was changed ($link)" trace on --for-all
    rm "$beside/Nerio.log"
  done
  mv "$beside/other" "$beside/Nerio.log"
  chmod 000 "$beside/Nerio.log"
  As 4 '' "nerio: cannot read $beside/Nerio.log: Permission denied" trace tail
fi
Run 2 '' '*nobody is at a terminal to be asked*' trace off
Run 0 '?' '' trace off --yes
[ ! -e "$beside/Nerio.log" ] || Fail "$beside/Nerio.log is still there" trace off --yes

# Texts.
Run 0 'Il parametro [sTesto] non pu\303\262 essere nullo o vuoto\n' '' msg ErrNullOrEmptyParameter sTesto
Run 5 '' '*is not an error code*' msg pippo
Run 0 'zz\n' '' template '{0}{1}' '{1}' z
Run 0 '?' '' guid -n 3
checks=$((checks + 1))
[ "$(grep -cE '^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$' out)" = 3 ] || Fail "$(<out)" guid -n 3

# XML files.
Run 0 'created perch\303\251.xml\n' '' xml new perché.xml impostazioni
Run 0 'added voce to /impostazioni in perch\303\251.xml\n' '' xml add perché.xml /impostazioni voce 'sì & "no"'
Run 0 'set lingua of /impostazioni/voce in perch\303\251.xml\n' '' xml set perché.xml /impostazioni/voce lingua '<it> "è"'
printf '<impostazioni><voce lingua="&lt;it&gt; &quot;è&quot;">sì &amp; "no"</voce></impostazioni>\r\n' >wanted
Same perché.xml wanted xml set
Run 2 '' '*is there already*' xml new perché.xml altro
Run 3 '' '*has no element*' xml add perché.xml /altro voce
Run 5 '' '*the name is not one of XML 1.0*' xml add perché.xml /impostazioni '1voce'
Run 5 '' '*this would not be XML*' xml add perché.xml /impostazioni p:voce
Same perché.xml wanted xml add
Run 0 'perch\303\251.xml: well-formed\n' '' xml check perché.xml
input='<a><b></a>' Run 5 '' 'nerio: -:1:9: the end tag of "b" is needed here' xml check -
for declared in '<!DOCTYPE a SYSTEM "wanted"><a/>' '<!DOCTYPE a [<!ENTITY e SYSTEM "wanted">]><a>&e;</a>'; do
  printf '%s' "$declared" >declared.xml
  Run 5 '' 'nerio: declared.xml:1:1: a document type declaration (<!DOCTYPE) is not accepted' xml check declared.xml
  Run 5 '' '*is not accepted' xml set declared.xml /a n v
done

# Everything at once, and a result that goes nowhere.
Run 0 '?' '' doctor
checks=$((checks + 1))
grep -qx "host: $host" out && [ "$(tail -n 1 out)" = 'all is well' ] || Fail "$(<out)" doctor
if [ "$host" = linux ]; then # what the environment names, and what is used for it
  export LOCPATH=/nowhere
  LC_ALL=de_AT.UTF-8 Run 0 '?' '' doctor
  checks=$((checks + 1))
  grep -q '^region: de-DE, as in 31\.12\.1999' out && [ "$(tail -n 1 out)" = 'all is well' ] &&
    grep -qx 'region: de_AT.UTF-8 is named for dates and numbers and is not installed; de-DE has the same customs and is used' out ||
    Fail "$(<out)" doctor
  LC_TIME=de_CH.UTF-8 Run 0 '?' '' doctor
  checks=$((checks + 1))
  grep -qx 'warning: de_CH.UTF-8 is named for dates and is not installed; it-IT is used' out &&
    [ "$(tail -n 1 out)" = 'all is well but for a warning' ] || Fail "$(<out)" doctor
  unset LOCPATH
fi
if [ "$host" = windows ]; then
  # Where version 4.0 of the XML DOM cannot be created, files are read and written all the same.
  export WINEDLLOVERRIDES='mscoree,mshtml,winedbg.exe=;msxml4='
  Run 1 '?' '' doctor
  checks=$((checks + 1))
  grep -q '^dom: the XML DOM, version 4.0, is not there' out || Fail "$(<out)" doctor
  Run 1 '' 'nerio: EncodeBase64 answers error -*' base64 encode A
  Run 1 '' 'nerio: error -*' base64 decode QQA=
  Run 0 'perch\303\251.xml: well-formed\n' '' xml check perché.xml
  unset WINEDLLOVERRIDES
fi
if [ -w /dev/full ]; then
  checks=$((checks + 1))
  Tool guid >/dev/full 2>err
  given=$?
  [ "$given" = 1 ] || Fail "exit code $given instead of 1: $(<err)" guid '>/dev/full'
fi

echo "$checks checks on $host, $failures failed"
[ "$failures" = 0 ]
