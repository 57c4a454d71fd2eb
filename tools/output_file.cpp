#include "output_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "Output.h"

namespace sifterra::tools {

bool writeResult(const std::string& path, std::string_view bytes) {
  if (path.empty()) {
    Output output;
    output.write(bytes);
    return output.finish();
  }
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file.fail()) return true;
  printError(path + ": cannot be written" + (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
  return false;
}

}  // namespace sifterra::tools
