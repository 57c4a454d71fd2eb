// FileReplacement: a temporary file in the same directory, flushed, then renamed over the old one.
#include "platform/FileReplacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace sifterra::platform {
namespace fs = std::filesystem;
namespace {

constexpr mode_t kModeOfDirectories = 0755;
constexpr mode_t kModeOfNewFiles = 0644;
constexpr mode_t kModeOfLock = 0600;
constexpr std::string_view kTemporarySuffix = ".new";
constexpr std::chrono::milliseconds kBetweenAttempts{10};

std::string directoryOf(const std::string& path) {
  const std::string directory = fs::path(path).parent_path().string();
  return directory.empty() ? "." : directory;
}

// ".NAME", which the names of the lock and the temporary files begin with.
std::string besideOf(const std::string& path) {
  return directoryOf(path) + "/." + fs::path(path).filename().string();
}

bool flushDirectory(const std::string& path) {
  const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return false;
  const bool flushed = ::fsync(directory) == 0;
  const int error = errno;
  ::close(directory);
  errno = error;
  return flushed;
}

// Makes a directory and those above it; false, with errno, when one cannot be made.
bool makeDirectories(const std::string& path) {
  std::error_code ignored;
  if (path.empty() || fs::is_directory(path, ignored)) return true;
  if (!makeDirectories(fs::path(path).parent_path().string())) return false;
  if (::mkdir(path.c_str(), kModeOfDirectories) != 0 && errno != EEXIST) return false;
  return flushDirectory(directoryOf(path));
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool later(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

timespec after(timespec date, long nanoseconds) {
  date.tv_nsec += nanoseconds;
  date.tv_sec += date.tv_nsec / 1'000'000'000;
  date.tv_nsec %= 1'000'000'000;
  return date;
}

// Now, or as soon after `before` as the file system can tell: some count in seconds, or in two of them.
bool setDateAfter(int file, const timespec& before) {
  timespec now{};
  if (::clock_gettime(CLOCK_REALTIME, &now) != 0) return false;
  const timespec candidates[] = {now, after(before, 1), after(before, 1'000'000'000),
                                 after(before, 2'000'000'000)};
  for (const timespec& date : candidates) {
    const timespec dates[2] = {date, date};
    struct stat status {};
    if (::futimens(file, dates) != 0 || ::fstat(file, &status) != 0) return false;
    if (later(status.st_mtim, before)) return true;
  }
  errno = EIO;
  return false;
}

// A file that is gone again unless it was renamed.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string pattern) : path_(std::move(pattern)) {
    file_ = ::mkostemps(path_.data(), static_cast<int>(kTemporarySuffix.size()), O_CLOEXEC);
  }
  ~TemporaryFile() {
    if (file_ < 0) return;
    ::close(file_);
    if (!renamed_) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] int file() const noexcept { return file_; }
  [[nodiscard]] bool renameTo(const std::string& path) {
    renamed_ = ::rename(path_.c_str(), path.c_str()) == 0;
    return renamed_;
  }

 private:
  std::string path_;
  int file_;
  bool renamed_ = false;
};

// Gives the new file what the old one had. The owner first: changing it takes bits off the mode.
bool takeOver(int file, const struct stat& old) {
  struct stat own {};
  if (::fstat(file, &own) != 0) return false;
  if ((own.st_uid != old.st_uid || own.st_gid != old.st_gid) && ::fchown(file, old.st_uid, old.st_gid) != 0)
    return false;
  return ::fchmod(file, old.st_mode & 07777) == 0;
}

}  // namespace

FileReplacement::FileReplacement(std::string path, std::chrono::milliseconds longestWaiting)
    : path_(std::move(path)), longestWaiting_(longestWaiting) {}

FileReplacement::~FileReplacement() {
  if (lock_ >= 0) ::close(lock_);
}

bool FileReplacement::fail(const std::string& what) {
  problem_ = what + ": " + std::generic_category().message(errno);
  return false;
}

bool FileReplacement::begin() {
  if (!resolveLinks()) return false;
  const std::string directory = directoryOf(path_);
  if (!makeDirectories(directory)) return fail(directory + " cannot be made");
  if (!lock()) return false;
  removeLeftovers();
  return true;
}

bool FileReplacement::resolveLinks() {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) != 0) {
    return errno == ENOENT || fail(path_ + " cannot be reached");
  }
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path_.c_str(), nullptr), &std::free);
  if (!real) return fail(path_ + " cannot be reached");
  path_ = real.get();
  return true;
}

bool FileReplacement::lock() {
  const std::string name = besideOf(path_) + ".lock";
  lock_ = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kModeOfLock);
  if (lock_ < 0) return fail(name + " cannot be opened");
  const auto deadline = std::chrono::steady_clock::now() + longestWaiting_;
  while (::flock(lock_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return fail(name + " cannot be locked");
    if (std::chrono::steady_clock::now() >= deadline) {
      problem_ = path_ + " is being changed by another program";
      return false;
    }
    std::this_thread::sleep_for(kBetweenAttempts);
  }
  return true;
}

void FileReplacement::removeLeftovers() const {
  const std::string prefix = fs::path(besideOf(path_) + ".").filename().string();
  std::error_code error;
  std::error_code ignored;
  for (fs::directory_iterator entry(directoryOf(path_), error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with(prefix) && name.ends_with(kTemporarySuffix)) fs::remove(entry->path(), ignored);
  }
}

bool FileReplacement::replace(std::string_view bytes) {
  struct stat old {};
  const bool exists = ::stat(path_.c_str(), &old) == 0;
  if (exists && !S_ISREG(old.st_mode)) {
    problem_ = path_ + " is no file";
    return false;
  }
  TemporaryFile file(besideOf(path_) + ".XXXXXX" + std::string(kTemporarySuffix));
  if (file.file() < 0) return fail("no file can be made in " + directoryOf(path_));
  if (!writeAll(file.file(), bytes)) return fail(path_ + " cannot be written");
  if (exists && !takeOver(file.file(), old)) return fail("the owner of " + path_ + " cannot be kept");
  if (!exists && ::fchmod(file.file(), kModeOfNewFiles) != 0) return fail(path_ + " cannot be written");
  if (!setDateAfter(file.file(), exists ? old.st_mtim : timespec{})) return fail(path_ + " cannot be dated");
  if (::fsync(file.file()) != 0) return fail(path_ + " cannot be written");
  if (!file.renameTo(path_)) return fail(path_ + " cannot be replaced");
  // The new file stands; that it will stand after a power cut, too, is what may still fail.
  if (!flushDirectory(directoryOf(path_))) return fail(directoryOf(path_) + " cannot be flushed to the disk");
  return true;
}

}  // namespace sifterra::platform
