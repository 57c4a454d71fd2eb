// FileReplacement: changes a file as a whole, one writer at a time.
//
//   FileReplacement file(path);
//   if (!file.begin()) report(file.problem());
//   const FileReading before = readWholeFile(file.path(), limit);   // nobody else writes now
//   if (!file.replace(newBytes)) report(file.problem());            // all of it or nothing
//
// A reader finds the old bytes or the new ones, never a mixture, also after a crash. Writers keep each other
// out by a lock on a file beside it, ".NAME.lock", which only they may open: whoever can merely read the
// directory must not be able to hold them up. A link is followed, and what it leads to is replaced.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace sifterra::platform {

class FileReplacement {
 public:
  // How long begin waits for another writer.
  static constexpr std::chrono::milliseconds kLongestWaiting{10000};

  explicit FileReplacement(std::string path, std::chrono::milliseconds longestWaiting = kLongestWaiting);
  ~FileReplacement();  // lets the next writer in
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Makes the directories that lead to the file, keeps other writers out, and removes what a writer that was
  // ended midway left behind.
  [[nodiscard]] bool begin();
  // Replaces the file, which keeps its mode and its owner; a new one may be read by everybody and written by
  // its owner. Its modification date is later than that of the file before, also when both are written within
  // one tick of the system's clock: whoever keeps what he read by that date must notice. After begin.
  [[nodiscard]] bool replace(std::string_view bytes);

  // The file itself: with its links resolved after begin.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  // Why the last operation that answered false went wrong.
  [[nodiscard]] const std::string& problem() const noexcept { return problem_; }

 private:
  [[nodiscard]] bool resolveLinks();
  [[nodiscard]] bool lock();
  void removeLeftovers() const;
  [[nodiscard]] bool fail(const std::string& what);  // with the name of errno

  std::string path_;
  const std::chrono::milliseconds longestWaiting_;
  int lock_ = -1;
  std::string problem_;
};

}  // namespace sifterra::platform
