// global_options: the options that every command takes.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace sifterra::tools {

struct GlobalOptions {
  std::string root;      // prefix of the fixed system paths, "" for none
  std::string logLevel;  // "" leaves the library's own
  bool logPrivate = false;
};

// Declares them on the program or a command, in a group of their own.
void addGlobalOptions(CLI::App& app, GlobalOptions& options);
// Hands them to the library; before anything else of it is used.
void applyGlobalOptions(const GlobalOptions& options);

}  // namespace sifterra::tools
