// Command: how a subcommand of `sifterra` joins the program.
//
// Each lives in a file pair NAME_command.h/.cpp and offers one function that declares its options on
// the CLI11 object it is given and answers what is to be done once the command line has been read:
//
//   Action defineCheckCommand(CLI::App& command);
//
// main.cpp lists them. An action answers the exit status of the process.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sifterra::tools {

using Action = std::function<int()>;

inline constexpr int kExitGood = 0;        // done; for check: nothing restricted
inline constexpr int kExitRestricted = 1;  // check: some page is restricted
inline constexpr int kExitError = 2;       // bad command line, or something could not be read or written

}  // namespace sifterra::tools
