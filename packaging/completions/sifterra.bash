# Completion of the `sifterra` command for bash.

_sifterra() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local global="--help --root --log-level --log-private"
  local command="" word i
  COMPREPLY=()
  # The command is the first word that is neither an option nor the value of one.
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    case $word in
      --root | --log-level) ((i++)) ;;
      -*) ;;
      *)
        command=$word
        [[ $command == map && $i -lt $((COMP_CWORD - 1)) && ${COMP_WORDS[i + 1]} == info ]] && command="map info"
        break
        ;;
    esac
  done

  case $previous in
    --log-level)
      mapfile -t COMPREPLY < <(compgen -W "debug info default error off" -- "$current")
      return
      ;;
    --root)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
    --training)
      mapfile -t COMPREPLY < <(compgen -W "1 2 3 4 5 6 7 8 9" -- "$current")
      return
      ;;
    --threshold)
      mapfile -t COMPREPLY < <(compgen -W "auto" -- "$current")
      return
      ;;
    --map | --manifest | --report | -o | --output)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --url | --charset | --rank | -j | --jobs | --category) return ;;
  esac

  local options
  case $command in
    "") options="--version check model text words map train evaluate" ;;
    check) options="--url --charset --map --json -j --jobs" ;;
    model) options="--charset" ;;
    text) options="--charset --raw --training" ;;
    words) options="--charset --map" ;;
    map) options="info" ;;
    "map info") options="--json" ;;
    train) options="--category -o --output --rank --threshold -j --jobs" ;;
    evaluate) options="--category --manifest --map --json --report -j --jobs" ;;
    *) options="" ;;
  esac
  if [[ $current == -* || -z $command || $command == map ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options $global" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -o filenames -F _sifterra sifterra
