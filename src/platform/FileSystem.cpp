// FileSystem: the root prefix under a lock, the rest straight to the system.
#include "platform/FileSystem.h"

#include <filesystem>
#include <fstream>
#include <mutex>
#include <utility>

namespace sifterra::platform {
namespace {
std::mutex& rootLock() {
  static auto* lock = new std::mutex;
  return *lock;
}
std::string& root() {
  static auto* directory = new std::string;
  return *directory;
}
}  // namespace

void setFileSystemRoot(std::string directory) {
  while (!directory.empty() && directory.back() == '/') directory.pop_back();
  const std::lock_guard guard(rootLock());
  root() = std::move(directory);
}
std::string fileSystemRoot() {
  const std::lock_guard guard(rootLock());
  return root();
}
std::string systemPath(std::string_view path) {
  return fileSystemRoot().append(path);
}

bool fileExists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}
bool isRegularFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}
bool isDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}
std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream || isDirectory(path)) return std::nullopt;
  std::string bytes;
  char buffer[65536];
  while (stream.read(buffer, sizeof buffer) || stream.gcount() > 0) {
    bytes.append(buffer, static_cast<std::size_t>(stream.gcount()));
    if (bytes.size() > limit) return std::nullopt;
  }
  return bytes;
}

}  // namespace sifterra::platform
