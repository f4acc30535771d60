# bash completion for velmora: commands, then the options that the command's own help lists, else files.
_velmora() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} program=${COMP_WORDS[0]}
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W "$("$program" help 2>/dev/null | sed -n '/^Commands:/,/^$/s/^  \([a-z-]*\) .*/\1/p') help" -- "$word")
  elif [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$("$program" help "$command" 2>/dev/null | grep -oE '^  --[a-z0-9-]+' | tr -d ' ') --help" -- "$word")
  else
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -F _velmora velmora
