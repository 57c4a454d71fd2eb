# Completion of the `sifterra-setup` command for fish.

set -l commands enrol show pause resume remove doctor wait suspend apply
set -l managed '(sifterra-setup show --json 2>/dev/null | string match -rg \'^ *"name": "([^"]*)"\')'
complete -c sifterra-setup -f
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a enrol -d "Filter the web of an account"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a show -d "Show who is filtered and how"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a pause -d "Let a user be unfiltered for a time"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a resume -d "End a pause"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a remove -d "Stop filtering an account, or everything"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a doctor -d "Look whether everything does its work"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a wait -d "Wait until the filter answers"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a suspend -d "Stop filtering, keep all for a later apply"
complete -c sifterra-setup -n "not __fish_seen_subcommand_from $commands" -a apply -d "Make all configuration anew"
complete -c sifterra-setup -s h -l help -d "Explain the program or the command"
complete -c sifterra-setup -l root -x -a "(__fish_complete_directories)" -d "A machine staged below this directory"
complete -c sifterra-setup -l sifterra -r -d "The command that keeps policies"
complete -c sifterra-setup -n "__fish_seen_subcommand_from enrol" -a "(__fish_complete_users)"
complete -c sifterra-setup -n "__fish_seen_subcommand_from enrol" -l filter -d "Judge pages by their content"
complete -c sifterra-setup -n "__fish_seen_subcommand_from enrol" -l allow-list-only -d "Allow nothing but the list of sites"
complete -c sifterra-setup -n "__fish_seen_subcommand_from pause resume remove" -a "$managed"
complete -c sifterra-setup -n "__fish_seen_subcommand_from pause" -l for -x -d "How long: 45m, 2h, 1d"
complete -c sifterra-setup -n "__fish_seen_subcommand_from pause" -l until -x -d "Until when: 18:30"
complete -c sifterra-setup -n "__fish_seen_subcommand_from remove" -l everything -d "Undo all that was set up"
complete -c sifterra-setup -n "__fish_seen_subcommand_from remove" -l keep-policies -d "Leave what the users may see"
complete -c sifterra-setup -n "__fish_seen_subcommand_from show" -l json -d "One JSON object"
complete -c sifterra-setup -n "__fish_seen_subcommand_from doctor" -l faults -d "Print faults alone"
