// command_run: the real `sifterra` program, run with arguments, and what came of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sifterra::tools {

struct CommandRun {
  int status = -1;  // exit status; 128 + the number of the signal that ended it
  std::string out;
  std::string err;
};

[[nodiscard]] CommandRun runCommand(const std::vector<std::string>& arguments, std::string_view input = {});
// The same through a shell, for redirections and pipes; "$SIFTERRA" is the program.
[[nodiscard]] CommandRun runShell(const std::string& script);

// The lines of a text, without their line ends.
[[nodiscard]] std::vector<std::string> linesOf(const std::string& text);

}  // namespace sifterra::tools
