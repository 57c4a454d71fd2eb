// PageArena.h: memory for the parts of one page, given out piece by piece and given back all at once.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace sifterra {

class PageArena {
 public:
  static constexpr std::size_t kAlignment = 8;
  // Of the blocks that small pieces are cut from: below the size that allocators fetch from the kernel each
  // time.
  static constexpr std::size_t kSmallestBlock = std::size_t{8} << 10;
  static constexpr std::size_t kLargestBlock = std::size_t{64} << 10;

  // Bytes at an address for any member of a node; null when there is no memory.
  [[nodiscard]] void* allocate(std::size_t bytes) noexcept {
    bytes = (bytes + kAlignment - 1) & ~(kAlignment - 1);
    if (bytes > static_cast<std::size_t>(end_ - next_)) return allocateElsewhere(bytes);
    std::byte* const piece = next_;
    next_ += bytes;
    return piece;
  }
  // Makes the piece that was given out last longer, where it lies; false when that cannot be.
  [[nodiscard]] bool extend(const void* piece, std::size_t bytes, std::size_t longer) noexcept {
    const auto* const begin = static_cast<const std::byte*>(piece);
    bytes = (bytes + kAlignment - 1) & ~(kAlignment - 1);
    longer = (longer + kAlignment - 1) & ~(kAlignment - 1);
    if (begin + bytes != next_ || longer - bytes > static_cast<std::size_t>(end_ - next_)) return false;
    next_ += longer - bytes;
    return true;
  }

 private:
  void* allocateElsewhere(std::size_t bytes) noexcept;
  std::byte* newBlock(std::size_t bytes) noexcept;

  std::byte* next_ = nullptr;
  std::byte* end_ = nullptr;
  std::size_t blockSize_ = kSmallestBlock;
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
};

}  // namespace sifterra
