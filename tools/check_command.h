// check_command: `sifterra check`, which judges pages.
#pragma once

#include "Command.h"

namespace sifterra::tools {

Action defineCheckCommand(CLI::App& command);

}  // namespace sifterra::tools
