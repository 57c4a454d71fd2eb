// word_dump: through two files in /tmp and the sort command.
//
// The names are fixed, since whoever reads a dump of a hung process looks for them there, and /tmp is
// everybody's. Both files are therefore made here, exclusively and for this user alone, before anything
// is written: a name that somebody else has taken, as a file or as a link, is refused. The shell's ">" then
// finds the file that is ours and truncates it; the sticky bit of /tmp keeps others from replacing it. The
// result is read through the descriptor that made the file, not through its name.
//
// The names hold the process's number only, so that one lock serialises the dumps of a process.
#include "classifier/word_dump.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;

constexpr auto kOp = "-[WFLSMMap wordDump:]";

// A file of our own at a name that is free; removed, with a warning if that fails, at the end of its life.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string path) : path_(std::move(path)), descriptor_(create()) {
    // What an earlier process of this number left is ours to remove; in /tmp nobody else's can be.
    if (descriptor_ < 0 && errno == EEXIST && ::unlink(path_.c_str()) == 0) descriptor_ = create();
    if (descriptor_ < 0) warn("%s -- Warning: failed to create tmp file: %@");
  }
  ~TemporaryFile() {
    if (descriptor_ < 0) return;
    ::close(descriptor_);
    if (::unlink(path_.c_str()) != 0) warn("%s -- Warning: failed to remove tmp file: %@");
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  [[nodiscard]] bool write(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }

  // The whole file, whoever wrote it; null when it cannot be read or is not UTF-8.
  [[nodiscard]] String read() const {
    std::string bytes;
    std::array<char, 65536> block;
    for (;;) {
      const ssize_t count =
          ::pread(descriptor_, block.data(), block.size(), static_cast<off_t>(bytes.size()));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return nullptr;
      if (count == 0) return String::fromUTF8(bytes);
      bytes.append(block.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  [[nodiscard]] int create() const {
    return ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  }
  void warn(const char* format) const {
    logDefault(format, kOp, [this] { return String::fromUTF8Lossy(path_); });
  }

  std::string path_;
  int descriptor_;
};

std::string dumpPath(const char* ending) {
  return "/tmp/WebContentFilterPageDump-" + std::to_string(::getpid()) + ending;
}

// Plain sort -r, so that whoever repeats the command by hand sees the same.
bool sortInReverse(const std::string& from, const std::string& to) {
  const std::string command = "cat " + from + " | sort -r > " + to;
  return std::system(command.c_str()) != -1;
}

}  // namespace

String sortedWordDump(std::string_view dump) {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  // They are removed in the reverse order of their making: first the unsorted one.
  const TemporaryFile sorted(dumpPath("-sorted.txt"));
  const TemporaryFile unsorted(dumpPath(".txt"));
  if (!sorted || !unsorted || !unsorted.write(dump)) return nullptr;
  if (!sortInReverse(unsorted.path(), sorted.path())) return nullptr;
  return sorted.read();
}

}  // namespace sifterra
