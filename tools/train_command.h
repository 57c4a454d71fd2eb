// train_command: `sifterra train`, which makes a map from pages whose category is known.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action defineTrainCommand(CLI::App& command);

}  // namespace sifterra::tools
