# Completion of the `sifterra-setup` command for bash.

# The managed users, as far as who asks may know them.
_sifterra_setup_managed() {
  sifterra-setup show --json 2>/dev/null | sed -n 's/^ *"name": "\([^"]*\)".*/\1/p'
}

_sifterra_setup() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command="" word i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    case $word in
      --root | --sifterra) ((i++)) ;;
      -*) ;;
      *)
        command=$word
        break
        ;;
    esac
  done
  case $previous in
    --root)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
      ;;
    --sifterra)
      mapfile -t COMPREPLY < <(compgen -c -- "$current")
      return
      ;;
    --for | --until) return ;;
  esac
  local options="--help --root --sifterra"
  case $command in
    "") options="--help enrol show pause resume remove approver doctor wait suspend apply" ;;
    enrol) options+=" --filter --allow-list-only" ;;
    show) options+=" --json" ;;
    pause) options+=" --for --until" ;;
    remove) options+=" --everything --keep-policies" ;;
    approver) options+=" --remove --password-stdin" ;;
    doctor) options+=" --faults" ;;
  esac
  if [[ $current != -* ]]; then
    case $command in
      enrol | approver)
        mapfile -t COMPREPLY < <(compgen -u -- "$current")
        return
        ;;
      pause | resume | remove)
        mapfile -t COMPREPLY < <(compgen -W "$(_sifterra_setup_managed)" -- "$current")
        return
        ;;
    esac
  fi
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}

complete -F _sifterra_setup sifterra-setup
