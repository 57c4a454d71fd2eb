// RecordMemory: a piece of memory that records of sites are made in, instead of one piece for each.
//
// Taken from the end towards the beginning; nothing is given back.
#pragma once

#include <cstddef>
#include <span>

namespace sifterra {

class RecordMemory {
 public:
  static constexpr std::size_t kAlignment = 8;  // of the memory and of what is taken

  explicit RecordMemory(std::span<std::byte> memory) noexcept
      : begin_(memory.data()), end_(memory.data() + memory.size()) {}

  // Null when there is not as much left.
  [[nodiscard]] void* take(std::size_t bytes) noexcept {
    if (bytes > left()) return nullptr;
    return end_ -= (bytes + kAlignment - 1) / kAlignment * kAlignment;
  }
  // Leaves less at the beginning, for other things; there must be as much left.
  void cedeFront(std::size_t bytes) noexcept { begin_ += bytes; }
  [[nodiscard]] std::size_t left() const noexcept {
    return static_cast<std::size_t>(end_ - begin_) / kAlignment * kAlignment;
  }

 private:
  std::byte* begin_;
  std::byte* end_;
};

}  // namespace sifterra
