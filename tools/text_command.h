// text_command: `sifterra text`, which prints the text that the classifier reads.
#pragma once

#include "Command.h"

namespace sifterra::tools {

Action defineTextCommand(CLI::App& command);

}  // namespace sifterra::tools
