# Completion of the `sifterra` command for bash.

_sifterra() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local global="--help --root --log-level --log-private"
  local command="" word i first=0
  COMPREPLY=()
  # The command is the first word that is neither an option nor the value of one.
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    case $word in
      --root | --log-level) ((i++)) ;;
      -*) ;;
      *)
        command=$word
        if [[ ($command == map || $command == policy) && $i -lt $((COMP_CWORD - 1)) ]]; then
          case ${COMP_WORDS[i + 1]} in
            info | show | check | set | add | remove | import | export)
              command+=" ${COMP_WORDS[i + 1]}"
              ((first = i + 2))
              ;;
          esac
        fi
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
    --restrict | --filter | --allow-list-only | --always-https | --overrides)
      mapfile -t COMPREPLY < <(compgen -W "on off" -- "$current")
      return
      ;;
    --format)
      mapfile -t COMPREPLY < <(compgen -W "auto domains hosts squid squidguard urls" -- "$current")
      return
      ;;
    --kind)
      mapfile -t COMPREPLY < <(compgen -W "blockpage blockpage-net blockpage-net-wl blockpage-nooverride blockpage-wl error" -- "$current")
      return
      ;;
    --user)
      mapfile -t COMPREPLY < <(compgen -u -- "$current")
      return
      ;;
    --map | --manifest | --report | -o | --output)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --url | --charset | --rank | -j | --jobs | --category | --title | --language | --message) return ;;
  esac

  local options
  case $command in
    "") options="--version check model text words policy blockpage debugpage sniff filter map train evaluate" ;;
    check) options="--url --charset --map --user --json --explain -j --jobs" ;;
    model) options="--charset" ;;
    text) options="--charset --raw --training" ;;
    words) options="--charset --map" ;;
    policy) options="show check set add remove import export" ;;
    "policy show" | "policy check") options="--json" ;;
    "policy set") options="--restrict --filter --allow-list-only --always-https --overrides --replace-broken" ;;
    "policy add") options="--title --replace-broken" ;;
    "policy import") options="--format --replace --replace-broken" ;;
    "policy export") options="--format -o --output" ;;
    blockpage) options="--url --title --user --kind --language -o --output" ;;
    debugpage) options="--url --charset --map --message -o --output" ;;
    sniff) options="--json" ;;
    filter) options="--url --user" ;;
    map) options="info" ;;
    "map info") options="--json" ;;
    train) options="--base --add-pages --force --category -o --output --rank --threshold -j --jobs" ;;
    evaluate) options="--category --manifest --map --compare --disguise --json --report -j --jobs" ;;
    *) options="" ;;
  esac
  # The words behind "policy SUBCOMMAND": a user, and where there is one a list.
  if [[ $command == "policy "* && $current != -* ]]; then
    if ((COMP_CWORD == first)); then
      mapfile -t COMPREPLY < <(compgen -u -- "$current")
      return
    elif [[ $command =~ (add|remove|import|export)$ ]] && ((COMP_CWORD == first + 1)); then
      mapfile -t COMPREPLY < <(compgen -W "allow deny sites" -- "$current")
      return
    fi
  fi
  if [[ $current == -* || -z $command || $command == map || $command == policy ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options $global" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -o filenames -F _sifterra sifterra
