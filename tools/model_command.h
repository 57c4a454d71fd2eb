// model_command: `sifterra model`, which shows the page model of a page.
#pragma once

#include "Command.h"

namespace sifterra::tools {

Action defineModelCommand(CLI::App& command);

}  // namespace sifterra::tools
