// PageArena: what would waste most of a block gets one of its own.
#include "page/PageArena.h"

#include <algorithm>
#include <new>

namespace sifterra {

std::byte* PageArena::newBlock(std::size_t bytes) noexcept {
  std::unique_ptr<std::byte[]> block(new (std::nothrow) std::byte[bytes]);
  if (!block) return nullptr;
  try {
    blocks_.push_back(std::move(block));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return blocks_.back().get();
}

void* PageArena::allocateElsewhere(std::size_t bytes) noexcept {
  if (bytes > blockSize_ / 4) return newBlock(bytes);
  std::byte* const block = newBlock(blockSize_);
  if (block == nullptr) return nullptr;
  next_ = block + bytes;
  end_ = block + blockSize_;
  blockSize_ = std::min(2 * blockSize_, kLargestBlock);
  return block;
}

}  // namespace sifterra
