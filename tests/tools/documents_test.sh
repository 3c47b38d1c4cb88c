#!/usr/bin/env bash
# Holds what is written about the tool against the tool itself: the manual page, the completions of three shells and the
# user's guide, whose examples are run.
# usage: documents_test.sh PROGRAM SOURCE_FOLDER
set -u
program=$(realpath "$1") source=$(realpath "$2")
manual=$source/tools/nerio/nerio.1
completions=$source/tools/nerio/completions
guide=$source/docs/tool.md
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
failures=0 checks=0

fail() {
  failures=$((failures + 1))
  printf 'FAILED: %s\n' "$1"
}

# same WHAT THE_TOOL_HAS IT_HAS: compares two lists of words or lines, whatever their order.
same() {
  checks=$((checks + 1))
  local tool it
  tool=$(tr -s '[:blank:]' '\n' <<<"$2" | sed '/^$/d' | sort -u)
  it=$(tr -s '[:blank:]' '\n' <<<"$3" | sed '/^$/d' | sort -u)
  [ "$tool" = "$it" ] && return
  fail "$1"
  diff <(echo "$tool") <(echo "$it") | sed -n 's/^</  missing:/p; s/^>/  not in the tool:/p'
}

# What --help says of each verb and group, by its name; the program's own name is ".".
declare -A verbs options lines texts forms sentences
names=()
walk() {
  local name=$1 words=() help verb
  [ "$name" = . ] || read -ra words <<<"$name"
  help=$("$program" ${words[@]+"${words[@]}"} --help) || fail "nerio $name --help: exit code $?"
  names+=("$name")
  ! grep -E '^  -[^ ]+ REQUIRED' <<<"$help" || fail "nerio $name --help: an option does not say that it takes something"
  options[$name]=$(sed -n '/^Options:/,/^$/p' <<<"$help" | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr ',\n' '  ')
  lines[$name]=$(sed -n '/^Options:/,/^$/p' <<<"$help" | sed -nE 's/^  (-[^ ]*)( TEXT| N)?.*/\1\2/p')
  texts[$name]=$(sed -n '/^Options:/,/^$/p' <<<"$help" | awk '
    function out() { if (option != "") print option, text "." }
    /^  -/ { out(); option = $1; text = match($0, /[^ ]  +/) ? substr($0, RSTART + RLENGTH) : ""; next }
    option != "" { sub(/^ +/, ""); if ($0 != "") text = text (text == "" ? "" : " ") $0 }
    END { out() }')
  verbs[$name]=$(sed -n '/^Subcommands:/,/^$/p' <<<"$help" | sed -n 's/^  \([^ ][^ ]*\).*/\1/p' | tr '\n' ' ')
  sentences[$name]=${help%%$'\n'*}.
  forms[$name]=$(sed -n 's/^Usage: nerio //p' <<<"$help" | sed 's/ *\[OPTIONS\]//')
  for verb in ${verbs[$name]}; do
    if [ "$name" = . ]; then walk "$verb"; else walk "$name $verb"; fi
  done
}
walk .
[ "${#names[@]}" -gt 10 ] || fail "--help names ${#names[@]} verbs only"

IsVerb() { [ -z "${verbs[$1]}" ]; }
# What every verb has is described once.
common=$(for name in "${names[@]}"; do tr -s ' ' '\n' <<<"${options[$name]}" | sed '/^$/d'; done | sort | uniq -c |
  awk -v all="${#names[@]}" '$1 == all { print $2 }' | tr '\n' ' ')
OwnOptions() {
  local option
  for option in ${options[$1]}; do [[ " $common " == *" $option "* ]] || printf '%s ' "$option"; done
}

CheckManual() {
  local name text described
  same "nerio.1, the version" "$("$program" --version | tr ' ' _)" \
    "$(sed -n 's/^\.TH .* "Nerio \([^"]*\)" .*/nerio_\1/p' "$manual")"
  # Of a line such as .BR \-r ", " \-\-recursive that follows .TP: the options.
  ManualOptions() {
    sed 's/\\-/-/g' | awk '/^\.TP/ { tag = 1; next } tag { print; tag = 0 }' | grep -E '^\.(B|BR|BI) "?-' |
      grep -oE -- '(^|[ ",])--?[a-zA-Z][a-z0-9-]*' | tr -d ' ",' | tr '\n' ' '
  }
  same "nerio.1, OPTIONS" "${options[.]}" "$(awk '/^\.SH/ { on = $2 == "OPTIONS" } on' "$manual" | ManualOptions)"
  # The same lines with what an option takes, "-o,--output_TEXT".
  ManualLines() {
    awk '/^\.TP/ { tag = 1; next } tag { print; tag = 0 }' | grep -E '^\.(B|BR|BI) "?\\-' |
      sed -E 's/\\-/-/g; s/\\f[IR]//g; s/^\.(B|BR|BI) //; s/"//g; s/ *, */,/g; s/ +/ /g; s/ $//; s/ /_/g'
  }
  # What the page says of each option, read as groff shows it: "--output File to write, ...", one line each.
  ManualTexts() { # NAME: a line of the page's text, "nerio reg get KEY [NAME]" or "OPTIONS"
    sed 's/^\.TP$/.TP 1/' "$manual" | groff -man -Kutf8 -Tutf8 -P-cbou -rLL=9999n -rHY=0 |
      sed "s/‘/'/g; s/’/'/g; s/‐/-/g; s/“/\"/g; s/”/\"/g" |
      NAME=$1 awk '{ line = $0; sub(/^ +/, "", line); gsub(/ +/, " ", line) }
        /^ ? ? ?[^ ]/ { on = line == ENVIRON["NAME"]; tag = ""; next }
        on && /^       -/ { tag = line; sub(/, /, ",", tag); sub(/ .*/, "", tag); next }
        on && tag != "" { print tag, line; tag = "" }'
  }
  # Each text of the help is where the page's text begins.
  Begins() { # NAME HELP PAGE
    local line
    while read -r line; do
      checks=$((checks + 1))
      case $'\n'$3 in *$'\n'"$line"*) ;; *) fail "nerio.1, an option of $1: not what the help says: $line" ;; esac
    done <<<"$2"
  }
  for name in "${names[@]}"; do
    IsVerb "$name" && continue
    text=$name
    [ "$name" = . ] && text=
    same "nerio.1, SYNOPSIS of nerio $text" "${verbs[$name]}" "$(awk '/^\.SH/ { on = $2 == "SYNOPSIS" } on' "$manual" |
      NAME=$text awk '/^\.B nerio/ { group = $3 } /^\.RB \{/ && group == ENVIRON["NAME"] { gsub(/[^a-z0-9 ]|RB/, ""); print }
        /^\.B nerio [a-z]/ && ENVIRON["NAME"] == "" { print $3 }')"
  done
  Begins "every verb" "${texts[.]}" "$(ManualTexts OPTIONS)"
  described=$(sed 's/\\-/-/g' "$manual" | sed -n 's/^\.SS "\{0,1\}nerio \([^"]*\)"\{0,1\}$/\1/p')
  same "nerio.1, the forms of the verbs" \
    "$(for name in "${names[@]}"; do IsVerb "$name" && echo "${forms[$name]// /_}"; done)" "${described// /_}"
  for name in "${names[@]}"; do
    IsVerb "$name" || continue
    text=$(FORM=${forms[$name]} awk '/^\.S[HS]/ { line = $0; gsub(/\\-/, "-", line); gsub(/"/, "", line)
      on = line == ".SS nerio " ENVIRON["FORM"] } on' "$manual")
    same "nerio.1, the sentence of $name" "${sentences[$name]// /_}" "$(sed -n '2{s/\\-/-/g; s/ /_/g; p}' <<<"$text")"
    same "nerio.1, the options of $name" "$(OwnOptions "$name")" "$(ManualOptions <<<"$text")"
    text=$(FORM=${forms[$name]} awk '/^\.S[HS]/ { line = $0; gsub(/\\-/, "-", line); gsub(/"/, "", line)
      on = line == ".SS nerio " ENVIRON["FORM"] } on' "$manual")
    same "nerio.1, the lines of the options of $name" \
      "$(grep -vxE -- "-h,--help|--json|--view" <<<"${lines[$name]}" | tr ' ' _)" "$(ManualLines <<<"$text")"
    text=$(grep -vE -- "^(-h,--help|--json|--view) " <<<"${texts[$name]}")
    [ -z "$text" ] || Begins "$name" "$text" "$(ManualTexts "nerio ${forms[$name]}")"
  done
}

CheckBash() {
  # shellcheck source=/dev/null
  . "$completions/nerio.bash"
  local name
  Offered() { # WORD...: what is offered for the last one
    COMP_WORDS=(nerio "$@") COMP_CWORD=$# COMPREPLY=()
    _nerio
    echo "${COMPREPLY[@]-}"
  }
  complete -p nerio >"$folder/complete" || fail "nerio.bash: nothing is registered for nerio"
  cd "$folder" || exit 1
  for name in "${names[@]}"; do
    local words=()
    [ "$name" = . ] || read -ra words <<<"$name"
    same "nerio.bash, the options of $name" "${options[$name]}" "$(Offered ${words[@]+"${words[@]}"} -)"
    IsVerb "$name" && continue
    same "nerio.bash, the verbs of $name" "${verbs[$name]}" "$(Offered ${words[@]+"${words[@]}"} '')"
    same "nerio.bash, the verbs of $name after --json" "${verbs[$name]}" \
      "$(Offered --json ${words[@]+"${words[@]}"} '')"
  done
}

CheckZsh() {
  local name file=$completions/_nerio text
  [ "$(head -1 "$file")" = "#compdef nerio" ] || fail "_nerio: the first line must be #compdef nerio"
  same "_nerio, the verbs and groups" "${names[*]// /_}" \
    "$(sed -n "s/^ *('\(.*\)')\$/\1/p" "$file" | sed 's/^$/./; s/ /_/g')"
  same "_nerio, the groups that it goes into" "$(for name in "${names[@]:1}"; do IsVerb "$name" || echo "$name"; done)" \
    "$(sed -n 's/^ *(\([a-z0-9|]*\)) place=.*/\1/p' "$file" | tr '|' ' ')"
  for name in "${names[@]}"; do
    local place=$name
    [ "$name" = . ] && place=
    text=$(PLACE="('$place')" awk '{ line = $0; sub(/^ */, "", line) } line == ENVIRON["PLACE"] { on = 1; next }
      line == ";;" { on = 0 } on' "$file" | sed 's/\[[^]]*\]//g')
    same "_nerio, the options of $name" "$(OwnOptions "$name")" \
      "$(grep -oE -- "[^a-zA-Z0-9-]--?[a-zA-Z][a-z0-9-]*" <<<"$text" | cut -c2-)"
    same "_nerio, the verbs of $name" "${verbs[$name]}" "$(grep -oE "'[a-z][a-z0-9]*:" <<<"$text" | tr -d "':")"
  done
  text=$(sed -n '/common=(/,/)$/p' "$file" | sed 's/\[[^]]*\]//g')
  same "_nerio, what every verb has" "$common" "$(grep -oE -- "[^a-zA-Z0-9-]--?[a-zA-Z][a-z0-9-]*" <<<"$text" | cut -c2-)"
}

CheckFish() {
  local name file=$completions/nerio.fish
  FishOptions() { sed "s/ -d '.*//" | grep -oE -- ' -[sl] [a-zA-Z0-9-]+' | sed 's/^ -s /-/; s/^ -l /--/'; }
  same "nerio.fish, what every verb has" "$common" "$(grep -E "^complete -c nerio -[sl] " "$file" | FishOptions)"
  same "nerio.fish, its conditions" "$(printf '%s\n' "${names[@]// /_}")" \
    "$(sed -n "/__nerio_arguments/d; s/^complete -c nerio -n '__nerio_[a-z]* *\([^']*\)'.*/\1/p" "$file" | sed 's/^$/./; s/ /_/g'
    for name in "${names[@]}"; do [ -z "$(OwnOptions "$name")" ] && IsVerb "$name" && echo "${name// /_}"; done)"
  for name in "${names[@]}"; do
    local condition="__nerio_verb $name" lines
    IsVerb "$name" || condition="__nerio_group $name"
    [ "$name" = . ] && condition=__nerio_group
    lines=$(grep -F -- "-n '$condition' " "$file")
    same "nerio.fish, the options of $name" "$(OwnOptions "$name")" "$(FishOptions <<<"$lines")"
    same "nerio.fish, the verbs of $name" "${verbs[$name]}" \
      "$(sed "s/ -d '.*//" <<<"$lines" | sed -n "s/.* -a \([a-z0-9]*\).*/\1/p")"
  done
}

# Every verb has its place in the guide, and every example gives what the guide shows.
CheckGuide() {
  local name said
  for name in "${names[@]}"; do
    IsVerb "$name" || continue
    checks=$((checks + 1))
    grep -qE "^\\$ (.*\| )?nerio (--json )?$name( |\$)" "$guide" || fail "tool.md: no example of $name"
  done
  said=$(bash "$source/tests/docs/run_console.sh" "$program" "$guide") || fail "$said"
  said=${said##*$'\n'}
  checks=$((checks + ${said%% *}))
}

# The shells and the formatter read their files without a complaint.
CheckSyntax() {
  local said
  Complains() { # CHECKER FILE ARG...
    checks=$((checks + 1))
    if ! said=$("$1" "${@:3}" "$2" 2>&1 >/dev/null) || [ -n "$said" ]; then fail "$1 on $2: $said"; fi
  }
  Complains groff "$manual" -man -ww -Kutf8 -Tutf8 -z
  Complains bash "$completions/nerio.bash" -n
  Complains zsh "$completions/_nerio" -n
  Complains fish "$completions/nerio.fish" --no-execute
}

# Apart CHECK: runs a check that changes the shell's own state in a shell of its own, which has to come to its end.
Apart() {
  ("$1"; echo "$failures $checks" >"$folder/$1")
  read -r failures checks <"$folder/$1" || fail "$1 broke off"
}

CheckManual
Apart CheckBash
CheckZsh
CheckFish
CheckGuide
CheckSyntax
echo "$checks checks of ${#names[@]} verbs and groups, $failures failed"
[ "$failures" = 0 ]
