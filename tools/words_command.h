// words_command: `sifterra words`, which prints the words of a page with their weights.
#pragma once

#include "Command.h"

namespace sifterra::tools {

Action defineWordsCommand(CLI::App& command);

}  // namespace sifterra::tools
