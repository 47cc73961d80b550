# shellcheck shell=bash
# Completion of marlin-bench for bash.

_marlin_bench() {
  local word=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--register-shell --unregister-shell --quiet --version --verify-manifest' -- "$word")
    return
  fi
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$word")
}

complete -F _marlin_bench marlin-bench
