#!/usr/bin/env bash
# Completes command lines with the functions for bash, zsh and fish: roots, keys and the names of values come from the registry.
# usage: completions_test.sh PROGRAM SOURCE_FOLDER
set -u
program=$(realpath "$1") completions=$(realpath "$2")/tools/nerio/completions
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin"
ln -s "$program" "$folder/bin/nerio"
export PATH=$folder/bin:$PATH NERIO_REGISTRY=$folder/registry LANG=C.UTF-8 HOME=$folder
unset LC_ALL
failures=0 checks=0
cd "$folder" || exit 1
{
  nerio reg set 'HKLM\Software\Nerio\App' Nome prova
  nerio reg set 'HKLM\Software\Nerio\App' 'Due parole' x
  nerio reg set 'HKLM\Software\Nerio\App' '' predefinito
  nerio reg create 'HKLM\Software\Mia Ditta' && nerio reg create 'HKLM\Sole'
} >prepared || { cat prepared; exit 1; }

Expect() { # WHAT WANTED GIVEN
  checks=$((checks + 1))
  [ "$2" = "$3" ] && return
  failures=$((failures + 1))
  printf 'FAILED: %s\n  wanted: %s\n  given:  %s\n' "$1" "$2" "$3"
}

# shellcheck source=/dev/null
. "$completions/nerio.bash"
# Bash WANTED WORD...: what is offered for the last word, as it is typed, with "|" after each.
Bash() {
  COMP_WORDS=(nerio "${@:2}") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _nerio
  Expect "bash: nerio ${*:2}" "$1" "$(printf '%s|' "${COMPREPLY[@]}")"
}
Bash 'HKLM|HKCU|HKCR|HKU|HKCC|' reg get ''
Bash 'HKCU|HKCR|HKCC|' reg list hkc
Bash 'HKEY_LOCAL_MACHINE|HKEY_LOCAL_MACHINE\|' reg tree HKEY_L
Bash 'HKLM\Software|HKLM\Sole|' reg get 'HKLM\\So'
Bash 'HKLM\Software|HKLM\Sole|' reg create "'HKLM\\So"
Bash 'HKLM\Software|HKLM\Sole|' reg export '"HKLM\so'
Bash 'HKLM\Software|HKLM\Sole|' reg set 'HKLM\So'
Bash 'HKLM/Software/Nerio|HKLM/Software/Nerio/|' reg delete HKLM/Software/n
Bash 'HKLM/Software/Nerio/App|' reg delete HKLM/Software/Nerio/
Bash 'HKLM\Software\Mia Ditta|' reg get 'HKLM\\Software\\Mia\ D'
Bash 'Due parole|Nome|' reg get "'HKLM\\Software\\Nerio\\App'" ''
Bash 'Nome|' reg --json test 'HKLM\\Software\\Nerio\\App' n
Bash 'Due parole|' reg set HKLM/Software/Nerio/App 'Due\ '
Bash 'HKLM\Software|HKLM\Sole|' reg import a.ini --from ini --below "'HKLM\\So"
Bash 'ini|' reg import a.ini --from i
Bash 'get|' help reg ge
Bash '|' reg list 'HKLM\\Nessuna\\'
Bash '|' reg list 'HKLM\\Sole' ''

# Fish WANTED LINE
Fish() {
  Expect "fish: $2" "$1" "$(fish --no-config -c "source $completions/nerio.fish; complete -C \$argv[1]" -- "$2" |
    cut -f1 | tr '\n' '|')"
}
Fish 'HKCC|HKCR|HKCU|' 'nerio reg get HKC'
Fish 'HKLM/Software|HKLM/Sole|' 'nerio reg get HKLM/So'
Fish 'HKLM\Software|HKLM\Sole|' "nerio reg get 'HKLM\\So"
Fish 'HKLM\Software|HKLM\Sole|' 'nerio reg get HKLM\\So'
Fish 'Due parole|Nome|' "nerio reg get 'HKLM\\Software\\Nerio\\App' "
Fish 'HKLM/Software|' 'nerio reg import a.ini --below HKLM/Sof'

# Zsh WANTED LINE: the line after a tab. A terminal shows it some time after that, so it is looked at until it is as wanted, ten
# seconds at most.
Zsh() {
  Expect "zsh: $2" "$1" "$(zsh -f -o extendedglob -c '
    zmodload zsh/zpty && zpty z zsh -f
    zpty -w z "fpath=($3 $fpath) PS1=; autoload -U compinit; compinit -u -D; bindkey \"^I\" complete-word; echo REA\"\"DY"
    repeat 100; do sleep 0.1; zpty -rt z out && all+=$out; [[ $all == *READY* ]] && break; done
    zpty -w -n z "$1"$'"'\\t'"' && all=
    repeat 100; do
      sleep 0.1
      while zpty -rt z out; do all+=$out; done
      line=${${all//$'"'\\e'"'\[[0-9;?]#[A-Za-z]}//[$'"'\\r\\a'"']}
      [[ $line == *"$2" ]] && break
    done
    print -r -- $line' zsh "$2" "$1" "$completions" | grep -o 'nerio reg .*' | tail -n 1)"
}
Zsh 'nerio reg get HKLM' 'nerio reg get HKL'
Zsh 'nerio reg get HKLM/Software/Nerio' 'nerio reg get HKLM/Software/N'
Zsh "nerio reg get 'HKLM\\Software\\Nerio" "nerio reg get 'HKLM\\Software\\N"
Zsh 'nerio reg get HKLM\\Software\\Nerio' 'nerio reg get HKLM\\Software\\N'
Zsh "nerio reg get 'HKLM\\Software\\Nerio\\App' Nome " "nerio reg get 'HKLM\\Software\\Nerio\\App' No"

echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
