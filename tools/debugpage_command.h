// debugpage_command: `sifterra debugpage`, which shows a page with what the library makes of it.
#pragma once

#include "Command.h"

namespace sifterra::tools {

[[nodiscard]] Action defineDebugPageCommand(CLI::App& command);

}  // namespace sifterra::tools
