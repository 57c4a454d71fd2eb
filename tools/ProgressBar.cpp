#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace sifterra::tools {
namespace {

constexpr std::size_t kPagesWithoutBar = 100;  // that many are judged before one could read the bar
constexpr std::size_t kCells = 40;
constexpr std::chrono::milliseconds kBetweenDrawings{100};

}  // namespace

ProgressBar::ProgressBar() : terminal_(isatty(STDERR_FILENO) == 1) {}

void ProgressBar::update(std::size_t pages, std::uint64_t bytesRead, std::uint64_t bytesTotal) {
  if (!terminal_ || pages <= kPagesWithoutBar) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + kBetweenDrawings;
  shown_ = true;
  if (bytesTotal == 0) {
    std::fprintf(stderr, "\r\x1b[K%zu pages", pages);
  } else {
    const double part = std::min(1.0, static_cast<double>(bytesRead) / static_cast<double>(bytesTotal));
    const auto cells = static_cast<std::size_t>(part * static_cast<double>(kCells));
    std::fprintf(stderr, "\r\x1b[K[%s%s] %3d%%  %zu pages", std::string(cells, '#').c_str(),
                 std::string(kCells - cells, '.').c_str(), static_cast<int>(part * 100), pages);
  }
  std::fflush(stderr);
}

void ProgressBar::hide() {
  if (!shown_) return;
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

}  // namespace sifterra::tools
