# Completion of nerio for bash.

# The verbs of a group; of the program itself for the empty name. Nothing for a verb.
_nerio_verbs() {
  case $1 in
    '') echo reg trace guid date msg template base64 xml doctor help ;;
    reg) echo get test list tree export set create delete import init doctor ;;
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
    'reg tree') own='--values' ;;
    'reg export') own='-o --output --utf8' ;;
    'reg set') own='--stdin --type' ;;
    'reg delete') own='-r --recursive -y --yes' ;;
    'reg import') own='-n --dry-run --from --below' ;;
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

_nerio() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} place='' arguments=0 files=false i
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ " $(_nerio_verbs "$place") " == *" ${COMP_WORDS[i]} "* ]]; then
      place=${place:+$place }${COMP_WORDS[i]}
    elif [[ ${COMP_WORDS[i]} != -?* ]]; then
      arguments=$((arguments + 1))
    fi
  done
  COMPREPLY=()
  case "$place:$before" in
    'reg export:-o' | 'reg export:--output' | 'xml set:--backup' | 'xml delete:--backup' | 'xml format:--backup') files=true ;;
    'reg init:--group') mapfile -t COMPREPLY < <(compgen -g -- "$word"); return ;;
    'reg set:--type')
      mapfile -t COMPREPLY < <(compgen -W 'dword qword binary expand multi string' -- "$word")
      return
      ;;
    'reg get:--default' | 'trace tail:-n' | 'trace tail:--lines' | 'guid:-n' | 'guid:--count') return ;;
  esac
  case "$place:$arguments" in
    'reg import:0' | 'xml check:'* | 'xml new:0' | 'xml set:0' | 'xml add:0' | 'xml get:0' | 'xml delete:0' | 'xml format:0') files=true ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_nerio_options "$place")" -- "$word")
  elif $files; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -W "$(_nerio_verbs "$place")" -- "$word")
  fi
}

complete -F _nerio nerio
