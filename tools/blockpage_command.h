// blockpage_command: `sifterra blockpage`, which renders the page that stands for a refused one.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action defineBlockPageCommand(CLI::App& command);

}  // namespace sifterra::tools
