// map_command: `sifterra map info`, which looks into a map file.
#pragma once

#include "Command.h"

namespace sifterra::tools {

Action defineMapCommand(CLI::App& command);

}  // namespace sifterra::tools
