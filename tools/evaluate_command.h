// evaluate_command: `sifterra evaluate`, how well a map tells labelled pages apart.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action defineEvaluateCommand(CLI::App& command);

}  // namespace sifterra::tools
