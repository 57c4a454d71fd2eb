#include "durable_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

namespace sifterra::services {
namespace {

// A descriptor that closes itself.
class File {
 public:
  explicit File(int descriptor) : _descriptor(descriptor) {}
  ~File() {
    if (_descriptor >= 0) close(_descriptor);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  [[nodiscard]] int get() const { return _descriptor; }
  [[nodiscard]] bool good() const { return _descriptor >= 0; }

 private:
  int _descriptor;
};

std::string because(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

constexpr std::string_view kRandom = "XXXXXX";

// What the names of a file's new versions begin with, before `kRandom` is filled in.
std::string prefixOf(const std::string& path) {
  return path + ".new-";
}

// Nobody has been writing it for a minute: by the age, whichever way the clock was set since.
bool isLeftBehind(const struct stat& about) {
  constexpr std::time_t kSecondsOfWriter = 60;
  const std::time_t age = std::time(nullptr) - about.st_mtime;
  return S_ISREG(about.st_mode) && about.st_uid == geteuid() &&
         (age > kSecondsOfWriter || age < -kSecondsOfWriter);
}

// What earlier writers of the file did not come to rename, because they were killed or the power went. The
// names are taken within the directory that is open, so that no link leads elsewhere.
void removeLeftovers(const std::string& path) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(directoryOf(path).c_str()), closedir);
  if (!folder) return;
  std::string prefix = prefixOf(path);
  prefix.erase(0, prefix.rfind('/') + 1);  // npos + 1 is 0
  while (const dirent* entry = readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    struct stat about {};
    if (name.size() == prefix.size() + kRandom.size() && name.starts_with(prefix) &&
        fstatat(dirfd(folder.get()), entry->d_name, &about, AT_SYMLINK_NOFOLLOW) == 0 &&
        isLeftBehind(about)) {
      unlinkat(dirfd(folder.get()), entry->d_name, 0);
    }
  }
}

}  // namespace

bool writeDurably(const std::string& path, std::string_view bytes, unsigned mode, std::string& problem) {
  removeLeftovers(path);
  const std::string pattern = prefixOf(path).append(kRandom);
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  const File file(mkostemp(name.data(), O_CLOEXEC));
  if (!file.good()) {
    problem = because("cannot write beside " + path);
    return false;
  }
  bool done = writeAll(file.get(), bytes) && fchmod(file.get(), mode) == 0 && fsync(file.get()) == 0 &&
              rename(name.data(), path.c_str()) == 0;
  if (!done) {
    problem = because("cannot write " + path);
    unlink(name.data());
    return false;
  }
  const File directory(open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  done = directory.good() && fsync(directory.get()) == 0;
  if (!done) problem = because("cannot sync the directory of " + path);
  return done;
}

std::optional<std::string> readWhole(const std::string& path, std::size_t mostBytes, std::string& problem,
                                     bool* missing) {
  if (missing != nullptr) *missing = false;
  const File file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.good()) {
    if (missing != nullptr) *missing = errno == ENOENT;
    problem = because("cannot read " + path);
    return std::nullopt;
  }
  struct stat about {};
  if (fstat(file.get(), &about) == 0 && !S_ISREG(about.st_mode)) {
    problem = "cannot read " + path + ": it is no file";
    return std::nullopt;
  }
  std::string bytes;
  std::vector<char> buffer(65536);
  for (;;) {
    const ssize_t size = read(file.get(), buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) {
      problem = because("cannot read " + path);
      return std::nullopt;
    }
    if (size == 0) return bytes;
    bytes.append(buffer.data(), static_cast<std::size_t>(size));
    if (bytes.size() > mostBytes) {
      problem = "cannot read " + path + ": it is larger than " + std::to_string(mostBytes) + " bytes";
      return std::nullopt;
    }
  }
}

}  // namespace sifterra::services
