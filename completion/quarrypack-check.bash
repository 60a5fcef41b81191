# Completion of quarrypack-check for bash.
_quarrypack_check() {
  local cur prev names
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # bash splits --fail-on=error into three words.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $prev in
    --fail-on) mapfile -t names < <(compgen -W 'error warning' -- "$cur") ;;
    --scc-offset) mapfile -t names < <(compgen -W 'auto' -- "$cur") ;;
    --scc-rate)
      mapfile -t names < <(compgen -W '23.976 24 25 29.97 30 50 59.94' -- "$cur") ;;
    *)
      if [[ $cur == -* && $prev != --html ]]; then
        mapfile -t names < <(compgen -W '--json --html --fail-on --scc-offset --scc-rate
          --help --version' -- "$cur")
      else
        compopt -o filenames 2>/dev/null
        mapfile -t names < <(compgen -f -- "$cur")
      fi ;;
  esac
  COMPREPLY=("${names[@]}")
}

complete -F _quarrypack_check quarrypack-check
