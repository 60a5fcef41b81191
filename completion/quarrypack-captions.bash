# Completion of quarrypack-captions for bash.
_quarrypack_captions() {
  local cur prev names
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # bash splits --format=srt into three words.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $prev in
    --format) mapfile -t names < <(compgen -W 'scc srt vtt json' -- "$cur") ;;
    --channel) mapfile -t names < <(compgen -W 'CC1 CC2 CC3 CC4 all' -- "$cur") ;;
    --source) mapfile -t names < <(compgen -W 'auto track pictures' -- "$cur") ;;
    --rollup) mapfile -t names < <(compgen -W 'once screen' -- "$cur") ;;
    --scc-offset) mapfile -t names < <(compgen -W 'auto' -- "$cur") ;;
    --scc-rate)
      mapfile -t names < <(compgen -W '23.976 24 25 29.97 30 50 59.94' -- "$cur") ;;
    *)
      if [[ $cur == -* && $prev != --output-file ]]; then
        mapfile -t names < <(compgen -W '--output-file --format --channel --source --rollup
          --scc-offset --scc-rate --help --version' -- "$cur")
      else
        compopt -o filenames 2>/dev/null
        mapfile -t names < <(compgen -f -- "$cur")
      fi ;;
  esac
  COMPREPLY=("${names[@]}")
}

complete -F _quarrypack_captions quarrypack-captions
