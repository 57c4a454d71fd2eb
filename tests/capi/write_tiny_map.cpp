// write_tiny_map FILE: the small map of the engine's tests, as a file with its directories.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "lsm/TinyMap.h"

int main(int count, char** arguments) {
  if (count != 2) return 2;
  try {
    const std::filesystem::path path = arguments[1];
    std::filesystem::create_directories(path.parent_path());
    std::string why;
    if (sifterra::lsm::writeMapFile(path.string(), sifterra::lsm::tinyMapContents(), why)) return 0;
    std::fprintf(stderr, "%s\n", why.c_str());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
  }
  return 1;
}
