// policy_command: `sifterra policy`, which shows and changes what a user may see.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action definePolicyCommand(CLI::App& command);

}  // namespace sifterra::tools
