// WFImgArrayCache: what a page's images tell in words and numbers, gathered once.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "sifterra/page/WFImg.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class WF_API WFImgArrayCache {
 public:
  [[nodiscard]] static WFImgArrayCache imgArrayCacheWithArray(std::span<const WFImg> array);
  // For nodes of any kind: the first that is no WFImg ends the gathering with an error line, and what
  // came before it stays. The nodes are borrowed for the call; none may be null.
  [[nodiscard]] static WFImgArrayCache imgArrayCacheWithArray(std::span<const XMLNode* const> array);

  // imageAlternativeDescriptions alone, for those who ask for no sizes: half the attributes to read.
  [[nodiscard]] static platform::String alternativeDescriptionsOfArray(std::span<const WFImg> array);

  // The alternative texts and titles, each with a line feed: "alt" when it is not empty, then "title"
  // when it is not empty and says something else.
  [[nodiscard]] const platform::String& imageAlternativeDescriptions() const noexcept {
    return _imageAlternativeDescriptions;
  }
  // Images whose area is not known.
  [[nodiscard]] std::int64_t numberOfUnknownSizedImages() const noexcept {
    return _numberOfUnknownSizedImages;
  }
  // The sum of all known areas, in pixels; it wraps around beyond 64 bits.
  [[nodiscard]] std::int64_t numberOfKnownImagePixels() const noexcept { return _numberOfKnownImagePixels; }

 private:
  WFImgArrayCache() = default;
  void addSize(const WFImg& image);

  platform::String _imageAlternativeDescriptions;
  std::int64_t _numberOfUnknownSizedImages = 0;
  std::int64_t _numberOfKnownImagePixels = 0;
};

}  // namespace sifterra
