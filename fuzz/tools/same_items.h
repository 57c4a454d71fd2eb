// same_items: what a source gives must not depend on how its input arrives.
#pragma once

#include <cstdlib>
#include <vector>

#include "input/PageSource.h"

namespace sifterra::tools {

// Inputs are some kilobytes, but compressed ones may unfold a thousandfold, and each is read several times.
inline constexpr std::size_t kMostBytesOfAnInput = std::size_t{256} << 20;

inline std::vector<PageItem> itemsWithin(PageSource& source, std::size_t mostItems) {
  std::vector<PageItem> items;
  std::size_t bytes = 0;
  while (std::optional<PageItem> item = source.next()) {
    if (item->page.bytes.length() > kMaxPageBytes) abort();
    bytes += item->page.bytes.length();
    items.push_back(std::move(*item));
    if (items.size() > mostItems) abort();  // each page needs bytes of its own
    if (bytes > kMostBytesOfAnInput) break;
  }
  return items;
}

inline void requireSame(const std::vector<PageItem>& a, const std::vector<PageItem>& b) {
  if (a.size() != b.size()) abort();
  for (std::size_t i = 0; i < a.size(); ++i) {
    const PageRecord& x = a[i].page;
    const PageRecord& y = b[i].page;
    // Errors in compressed data name the byte at which zlib noticed, which depends on what it was given.
    if (a[i].error.has_value() != b[i].error.has_value() || x.number != y.number || x.url != y.url ||
        x.charset != y.charset || x.bytes.chars() != y.bytes.chars() || x.label != y.label ||
        x.site != y.site || x.attributes != y.attributes) {
      abort();
    }
  }
}

}  // namespace sifterra::tools
