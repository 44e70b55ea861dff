# To be sourced: asks a completion script as bash does.
# shellcheck shell=bash

# completed FUNCTION WORD...: what is offered for the last word, sorted, with blanks in between.
completed() {
  local function=$1
  shift
  COMP_WORDS=("$@")
  COMP_CWORD=$(($# - 1))
  COMPREPLY=()
  "$function"
  printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' '
}

failures=0
# offers EXPECTED FUNCTION WORD...: compares the whole answer.
offers() {
  local expected=$1 answer
  shift
  answer=$(completed "$@")
  [ "$answer" = "$expected " ] && return
  echo "${*:2}: offered '$answer', expected '$expected'"
  failures=$((failures + 1))
}
