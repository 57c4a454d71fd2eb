#include "policy_command.h"

#include <CLI/CLI.hpp>
#include <utility>
#include <vector>

#include "policies/subcommands.h"

namespace sifterra::tools {

Action definePolicyCommand(CLI::App& command) {
  command.require_subcommand(1, 1);
  command.footer(
      "A user's policy is the managed preference file\n"
      "  /Library/Managed Preferences/USER/com.vendrel.hearthguard.contentfilter.plist\n"
      "below --root. It is changed as a whole, or not at all; keys that are not known here stay.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy set ann --filter on              judge what ann reads by its content\n"
      "  sifterra policy add ann deny http://games.example\n"
      "  sifterra policy import ann deny blocked-domains.txt\n"
      "  sifterra policy show ann\n"
      "  sifterra policy check ann http://www.games.example/chess");
  std::vector<Subcommand> subcommands = {definePolicyShow(command),   definePolicyCheck(command),
                                         definePolicySet(command),    definePolicyAdd(command),
                                         definePolicyRemove(command), definePolicyImport(command),
                                         definePolicyExport(command)};
  return [subcommands = std::move(subcommands)] {
    for (const auto& [subcommand, action] : subcommands) {
      if (subcommand->parsed()) return action();
    }
    return kExitError;  // not reached: CLI11 requires one
  };
}

}  // namespace sifterra::tools
