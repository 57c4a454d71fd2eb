// subcommands: those of `policy`; each declares itself below the given command.
#pragma once

#include <utility>

#include "Command.h"

namespace sifterra::tools {

using Subcommand = std::pair<CLI::App*, Action>;

[[nodiscard]] Subcommand definePolicyShow(CLI::App& policy);
[[nodiscard]] Subcommand definePolicyCheck(CLI::App& policy);
[[nodiscard]] Subcommand definePolicySet(CLI::App& policy);
[[nodiscard]] Subcommand definePolicyAdd(CLI::App& policy);
[[nodiscard]] Subcommand definePolicyRemove(CLI::App& policy);
[[nodiscard]] Subcommand definePolicyImport(CLI::App& policy);
[[nodiscard]] Subcommand definePolicyExport(CLI::App& policy);

}  // namespace sifterra::tools
