# Completion of nerio for bash.

# The verbs of a group; of the program itself for the empty name. Nothing for a verb.
_nerio_verbs() {
  case $1 in
    '') echo reg trace guid date msg template base64 xml doctor help ;;
    reg) echo get test list tree find diff export set create delete copy rename import watch repair init doctor ;;
    trace) echo on off status tail ;;
    base64) echo encode decode ;;
    xml) echo check get new add set delete format ;;
  esac
}

# The options of a verb or group.
_nerio_options() {
  local own=''
  case $1 in
    '') own='-V --version' ;;
    'reg get') own='--default --type' ;;
    'reg tree') own='--values --depth' ;;
    'reg find') own='--names --values --data' ;;
    'reg rename') own='--backup' ;;
    'reg export') own='-o --output --utf8' ;;
    'reg set') own='--stdin --type --backup' ;;
    'reg delete') own='-r --recursive -y --yes --backup' ;;
    'reg import') own='-n --dry-run --from --below --backup' ;;
    'reg init') own='--group' ;;
    'trace on') own='--for-all' ;;
    'trace off') own='-y --yes' ;;
    'trace tail') own='-n --lines -f --follow' ;;
    guid) own='-n --count' ;;
    'base64 encode' | 'base64 decode') own='--bytes' ;;
    'xml set' | 'xml format') own='--backup' ;;
    'xml delete') own='--backup -y --yes' ;;
  esac
  printf '%s\n' "-h --help --json --view $own"
}

# The word as the program would be given it; one "\" outside quotes, which a shell would take away, stays.
_nerio_plain() {
  local word=$1
  case $word in
    \'*) word=${word#\'} && word=${word%\'} ;;
    \"*) word=${word#\"} && word=${word%\"} && word=${word//\\\\/\\} ;;
    *) word=${word//\\\\/$'\1'} && word=${word//\\ / } && word=${word//$'\1'/\\} ;;
  esac
  printf '%s' "$word"
}

# The names below a key as the program lists them, for $2 = keys those of keys, else those of values.
_nerio_names() {
  local line
  while IFS= read -r line; do
    if [[ $2 == keys ]]; then
      [[ $line == *$'\t'* || $line != *\\ ]] || printf '%s\n' "${line%\\}"
    else
      [[ $line != *$'\t'* || $line == @$'\t'* ]] || printf '%s\n' "${line%%$'\t'*}"
    fi
  done < <("${COMP_WORDS[0]}" reg list -- "$1" 2>/dev/null)
}

# Adds to COMPREPLY what begins with $1 among the other arguments, whatever the case of its letters.
_nerio_add() {
  local start=${1,,} each
  for each in "${@:2}"; do
    [[ ${each,,} != "$start"* ]] || COMPREPLY+=("$each")
  done
}

# A key: its root, then level by level. Where only one is left and there are keys below it, the way on is offered too.
_nerio_key() {
  local word separator='\' upper names
  word=$(_nerio_plain "$1")
  compopt -o filenames 2>/dev/null
  [[ $word != *\\* && $word == */* ]] && separator=/
  if [[ $word != *"$separator"* ]]; then
    _nerio_add "$word" HKLM HKCU HKCR HKU HKCC
    [ "${#COMPREPLY[@]}" -gt 0 ] ||
      _nerio_add "$word" HKEY_LOCAL_MACHINE HKEY_CURRENT_USER HKEY_CLASSES_ROOT HKEY_USERS HKEY_CURRENT_CONFIG
  else
    upper=${word%"$separator"*}
    mapfile -t names < <(_nerio_names "$upper" keys)
    _nerio_add "$word" "${names[@]/#/$upper$separator}"
  fi
  if [ "${#COMPREPLY[@]}" = 1 ] && [ -n "$(_nerio_names "${COMPREPLY[0]}" keys)" ]; then
    COMPREPLY+=("${COMPREPLY[0]}$separator")
  fi
}

# The name of a value of the key $1 that begins with $2.
_nerio_value() {
  local names
  compopt -o filenames 2>/dev/null
  mapfile -t names < <(_nerio_names "$(_nerio_plain "$1")" values)
  _nerio_add "$(_nerio_plain "$2")" "${names[@]}"
}

_nerio() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} place='' arguments=0 files=false key='' i
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ " $(_nerio_verbs "$place") " == *" ${COMP_WORDS[i]} "* ]]; then
      place=${place:+$place }${COMP_WORDS[i]}
    elif [[ ${COMP_WORDS[i]} != -?* ]]; then
      arguments=$((arguments + 1))
      [ "$arguments" != 1 ] || key=${COMP_WORDS[i]}
    fi
  done
  COMPREPLY=()
  if [[ $place == help && $word != -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_nerio_verbs "$key")" -- "$word")
    return
  fi
  case "$place:$before" in
    'reg export:-o' | 'reg export:--output' | *:--backup) files=true ;;
    'reg import:--from') mapfile -t COMPREPLY < <(compgen -W 'reg ini' -- "$word"); return ;;
    'reg import:--below') _nerio_key "$word"; return ;;
    'reg init:--group') mapfile -t COMPREPLY < <(compgen -g -- "$word"); return ;;
    'reg set:--type')
      mapfile -t COMPREPLY < <(compgen -W 'dword qword binary expand multi string' -- "$word")
      return
      ;;
    'reg get:--default' | 'reg tree:--depth' | 'trace tail:-n' | 'trace tail:--lines' | 'guid:-n' | 'guid:--count') return ;;
  esac
  case "$place:$arguments" in
    'reg import:0' | 'reg diff:'* | 'xml check:'* | 'xml '*':0') files=true ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_nerio_options "$place")" -- "$word")
  elif $files; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  else
    case "$place:$arguments" in
      'reg get:1' | 'reg test:1' | 'reg set:1' | 'reg delete:1') _nerio_value "$key" "$word" ;;
      'reg copy:'* | 'reg find:1' | 'reg rename:0' | 'reg watch:0' | 'reg repair:0' | \
        'reg get:0' | 'reg test:0' | 'reg list:0' | 'reg tree:0' | 'reg export:0' | 'reg set:0' | 'reg create:0' | \
        'reg delete:0') _nerio_key "$word" ;;
      *) mapfile -t COMPREPLY < <(compgen -W "$(_nerio_verbs "$place")" -- "$word") ;;
    esac
  fi
}

complete -F _nerio nerio
