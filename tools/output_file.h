// output_file: the result of a command, on standard output or in the file of --output.
#pragma once

#include <string>
#include <string_view>

namespace sifterra::tools {

// Writes all of it; to standard output for "". False, after a message, when that went wrong.
[[nodiscard]] bool writeResult(const std::string& path, std::string_view bytes);

}  // namespace sifterra::tools
