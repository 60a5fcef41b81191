# Completion of quarrypack, quarrypack-batch and quarrypack-embed for bash.
_quarrypack() {
  local cur prev
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # bash splits --input-file=clip.mov into three words.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  compopt -o filenames 2>/dev/null
  local names
  case $prev in
    --input-file | --output-file | --conf-file)
      mapfile -t names < <(compgen -f -- "$cur") ;;
    *)
      compopt +o filenames 2>/dev/null
      mapfile -t names < <(compgen -W '--help --input-file --output-file --conf-file' -- "$cur") ;;
  esac
  COMPREPLY=("${names[@]}")
}

_quarrypack_batch() {
  local cur prev names
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $prev in
    --jobs) names=() ;;
    --sshlogin) mapfile -t names < <(compgen -A hostname -- "$cur") ;;
    --output-dir)
      compopt -o filenames 2>/dev/null
      mapfile -t names < <(compgen -d -- "$cur") ;;
    *)
      if [[ $cur == -* && $prev != --log ]]; then
        mapfile -t names < <(compgen -W \
          '--embed --output-dir --jobs --sshlogin --log --resume --help' -- "$cur")
      else
        compopt -o filenames 2>/dev/null
        mapfile -t names < <(compgen -f -- "$cur")
      fi ;;
  esac
  COMPREPLY=("${names[@]}")
}

_quarrypack_embed() {
  local cur prev names
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $prev in
    --scc-offset) mapfile -t names < <(compgen -W 'auto' -- "$cur") ;;
    --scc-rate)
      mapfile -t names < <(compgen -W '23.976 24 25 29.97 30 50 59.94' -- "$cur") ;;
    *)
      if [[ $cur == -* ]]; then
        mapfile -t names < <(compgen -W '--captions --captions-field2 --scc-offset --scc-rate
          --replace --no-pad --no-verify --report --help --version' -- "$cur")
      else
        compopt -o filenames 2>/dev/null
        mapfile -t names < <(compgen -f -- "$cur")
      fi ;;
  esac
  COMPREPLY=("${names[@]}")
}

complete -F _quarrypack quarrypack
complete -F _quarrypack_embed quarrypack-embed
complete -F _quarrypack_batch quarrypack-batch
