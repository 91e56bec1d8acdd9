# Completion of `zynkey` for bash. The command itself knows what fits: its schema has the names.
_zynkey() {
  local words=() glue='' word previous current cut='' slash='\\'
  # bash takes words apart at '=' and ':', which paths and options are full of: put them together again.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
    if [[ ${#words[@]} -gt 0 && ( -n $glue || $word == [=:]* && $word != *[!=:]* ) ]]; then
      words[-1]+=$word
    else
      words+=("$word")
    fi
    [[ -n $word && $word != *[!=:]* ]] && glue=yes || glue=''
  done
  current=${words[-1]}
  previous=${COMP_WORDS[0]}
  ((${#words[@]} > 1)) && previous=${words[-2]}
  COMPREPLY=()
  case $previous in
    --schema | --import-from | --yang | check | batch | rows)
      [[ $current == -* ]] || { compopt -o default 2>/dev/null; return; }
      ;;
  esac
  # In quotes a word stays whole and as it is. Otherwise backslashes are doubled, and bash puts the answer behind the
  # last '=' or ':'.
  if [[ $current == [\'\"]* ]]; then
    current=${current:1} slash='\'
  else
    [[ $current == *[=:]* ]] && cut=${current%"${current##*[=:]}"}
    current=${current//'\\'/'\'}
  fi
  words[-1]=$current
  while IFS= read -r word; do
    word=${word//'\'/"$slash"}
    COMPREPLY+=("${word#"$cut"}")
  done < <("${COMP_WORDS[0]}" complete "${words[@]}" 2>/dev/null)
}
complete -o nospace -F _zynkey zynkey
