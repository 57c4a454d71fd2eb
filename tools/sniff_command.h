// sniff_command: `sifterra sniff`, which tells what a file or body is.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action defineSniffCommand(CLI::App& command);

}  // namespace sifterra::tools
