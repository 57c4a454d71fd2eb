// FileSystem: the root prefix under a lock, the rest straight from the system.
#include "platform/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <utility>

namespace sifterra::platform {
namespace {

struct Root {
  std::mutex lock;
  std::string directory;
};

Root& root() {
  static auto& root = *new Root;  // never destroyed: threads may ask while the process exits
  return root;
}

// The kind of what is at the path (S_IFREG and so on), 0 for nothing.
mode_t kindOf(const std::string& path) {
  struct stat status {};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0) return 0;
  return status.st_mode & S_IFMT;
}

class Descriptor {
 public:
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int number() const noexcept { return number_; }

 private:
  int number_;
};

// Reads up to the end or one byte past the limit; false on failure.
bool readUpTo(int descriptor, std::size_t limit, std::string& bytes) {
  std::array<char, 65536> buffer;
  while (bytes.size() <= limit) {
    // The limit itself is never exceeded by more than one byte, however large the file is.
    const std::size_t wanted = std::min(buffer.size() - 1, limit - bytes.size()) + 1;
    const ssize_t count = ::read(descriptor, buffer.data(), wanted);
    if (count == 0) return true;
    if (count > 0) {
      bytes.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

void setFileSystemRoot(std::string directory) {
  while (directory.ends_with('/')) directory.pop_back();
  const std::lock_guard held(root().lock);
  root().directory = std::move(directory);
}

std::string fileSystemRoot() {
  const std::lock_guard held(root().lock);
  return root().directory;
}

std::string systemPath(std::string_view path) {
  return fileSystemRoot().append(path);
}

bool fileExists(const std::string& path) {
  return kindOf(path) != 0;
}

bool isRegularFile(const std::string& path) {
  return kindOf(path) == S_IFREG;
}

bool isDirectory(const std::string& path) {
  return kindOf(path) == S_IFDIR;
}

std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  // Not to wait for the other end of a pipe; regular files do not mind.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (file.number() < 0 || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  std::string bytes;
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return std::nullopt;
  bytes.reserve(size);
  // The size may be 0 for a file that the kernel makes up, and may change meanwhile: the end counts.
  if (!readUpTo(file.number(), limit, bytes) || bytes.size() > limit) return std::nullopt;
  return bytes;
}

}  // namespace sifterra::platform
