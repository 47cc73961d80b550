# Shared by the packaging scripts; to be sourced.
# shellcheck shell=bash

say() { printf '== %s\n' "$*"; }

# Ends the script unless all commands are there: need COMMAND:DEBIAN-PACKAGE...
need() {
  local pair missing=()
  for pair in "$@"; do
    command -v "${pair%%:*}" >/dev/null || missing+=("${pair%%:*} (Debian package ${pair#*:})")
  done
  [ ${#missing[@]} -eq 0 ] && return
  printf 'missing: %s\n' "${missing[@]}" >&2
  exit 3
}

# What all recipes say of the package.
# shellcheck disable=SC2034
{
  maintainer=${MARLIN_MAINTAINER:-The Marlin Bench authors <packages@marlin-bench.example>}
  summary='Code editor with the Claude agent built in'
  description=(
    'Marlin Bench opens folders and files in one window: an editor with tabs'
    'and splits, search and replace, source control with git, language'
    'servers, terminals, and a chat with the Claude command-line agent, which'
    'has to be installed apart.'
  )
}

# Sets every time in a tree that is later than the release to the release's, for builds that can be repeated.
clamp_times() {
  find "$1" -newermt "@$SOURCE_DATE_EPOCH" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
}
