// SiteBlock: some hundreds of sites and their records in one piece of memory.
//
// Sites stand at its beginning, their records at its end. Who holds one of the sites holds the block.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string_view>

#include "policy/RecordMemory.h"
#include "policy/SiteRecord.h"
#include "sifterra/policy/WFWhitelistSite.h"

namespace sifterra {

class SiteBlock {
 public:
  SiteBlock() = default;
  ~SiteBlock() { std::destroy_n(sites(), count_); }
  SiteBlock(const SiteBlock&) = delete;
  SiteBlock& operator=(const SiteBlock&) = delete;

  // When the usual record would not fit; one that does not has a piece of memory of its own.
  [[nodiscard]] bool full() const noexcept { return memory_.left() < kUsualBytes; }
  // The block must not be full.
  WFWhitelistSite& add(std::u16string_view urlString) {
    auto* place = bytes_.get() + count_ * sizeof(WFWhitelistSite);
    memory_.cedeFront(sizeof(WFWhitelistSite));
    auto* site = new (place) WFWhitelistSite(SiteRecord::fromURLString(urlString, memory_));
    ++count_;
    return *site;
  }

 private:
  static constexpr std::size_t kBytes = std::size_t{63} * 1024;
  static constexpr std::size_t kUsualBytes = 256;
  static_assert(alignof(WFWhitelistSite) <= RecordMemory::kAlignment);

  [[nodiscard]] WFWhitelistSite* sites() noexcept {
    return std::launder(reinterpret_cast<WFWhitelistSite*>(bytes_.get()));
  }

  const std::unique_ptr<std::byte[]> bytes_{new std::byte[kBytes]};  // make_unique would fill them
  RecordMemory memory_{{bytes_.get(), kBytes}};
  std::size_t count_ = 0;
};

}  // namespace sifterra
