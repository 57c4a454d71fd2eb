// ProgressBar: a line on the terminal that tells how far a long run has come.
//
// Drawn on standard error, and only when that is a terminal and more than 100 pages have been seen, at
// most ten times a second. hide() it before anything else is printed. One thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace sifterra::tools {

class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar() { hide(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // pages: done so far; bytesRead of bytesTotal (0 when not known) of the input.
  void update(std::size_t pages, std::uint64_t bytesRead, std::uint64_t bytesTotal);
  void hide();

 private:
  bool terminal_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point next_{};
};

}  // namespace sifterra::tools
