// filter_command: `sifterra filter`, which streams a body through the evaluator.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action defineFilterCommand(CLI::App& command);

}  // namespace sifterra::tools
