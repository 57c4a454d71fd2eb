// FileSystem: the root prefix under a lock, the rest straight from the system.
#include "platform/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
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

// How often a file is read that somebody is writing to.
constexpr int kReadings = 4;

std::string nameOfError(int error) {
  std::array<char, 256> buffer{};
  return ::strerror_r(error, buffer.data(), buffer.size());  // the GNU one: it may answer a text of its own
}

const char* nameOfKind(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return "it is a directory";
    case S_IFIFO:
      return "it is a pipe";
    case S_IFSOCK:
      return "it is a socket";
    default:
      return "it is a device";
  }
}

FileReading failure(std::string problem) {
  return {std::nullopt, std::move(problem), false};
}

// Why stat found nothing at the path.
FileReading unreachable(const std::string& path) {
  const int error = errno;
  struct stat link {};
  if (error != ENOENT && error != ENOTDIR) return failure(nameOfError(error));
  if (error == ENOENT && ::lstat(path.c_str(), &link) == 0) return failure("it is a link that leads nowhere");
  return {std::nullopt, nameOfError(error), true};
}

FileReading readOpenFile(int descriptor, std::size_t size, std::size_t limit) {
  std::string bytes;
  if (size <= limit) {
    bytes.reserve(size);
    // The size may be 0 for a file that the kernel makes up, and may change meanwhile: the end counts.
    if (!readUpTo(descriptor, limit, bytes)) return failure(nameOfError(errno));
  }
  if (size > limit || bytes.size() > limit)
    return failure("it is larger than " + std::to_string(limit) + " bytes");
  return {std::move(bytes), {}, false};
}

bool sameVersion(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
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

bool isFileName(std::string_view name) noexcept {
  constexpr std::size_t kLongestName = 255;  // what file systems take
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
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
  return readWholeFile(path, limit).bytes;
}

FileReading readWholeFile(const std::string& path, std::size_t limit) {
  if (path.find('\0') != std::string::npos) return failure("its path holds a zero byte");
  // Not to open what only opening does something to: devices, and pipes that somebody waits at.
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return unreachable(path);
  if (!S_ISREG(status.st_mode)) return failure(nameOfKind(status.st_mode));
  // It may be something else by now. Not to wait for the other end of a pipe; regular files do not mind.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.number() < 0) return failure(nameOfError(errno));
  FileReading reading;
  for (int attempt = 1;; ++attempt) {
    if (::fstat(file.number(), &status) != 0) return failure(nameOfError(errno));
    if (!S_ISREG(status.st_mode)) return failure(nameOfKind(status.st_mode));
    reading = readOpenFile(file.number(), static_cast<std::size_t>(status.st_size), limit);
    struct stat after {};
    if (attempt == kReadings || ::fstat(file.number(), &after) != 0 || sameVersion(status, after))
      return reading;
    if (::lseek(file.number(), 0, SEEK_SET) != 0) return reading;
  }
}

std::optional<std::int64_t> modificationDate(const std::string& path) {
  struct stat status {};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0) return std::nullopt;
  return std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
}

}  // namespace sifterra::platform
