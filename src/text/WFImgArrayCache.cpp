// WFImgArrayCache: attributes are read from the document, once each.
#include "sifterra/text/WFImgArrayCache.h"

#include <utility>

#include "util/log.h"

namespace sifterra {
namespace {

bool saysSomething(const platform::String& text) {
  return text.length() > 0;
}

void addTexts(const WFImg& image, std::u16string& descriptions) {
  const platform::String alt = image.alt();
  const platform::String title = image.title();
  if (saysSomething(alt)) descriptions.append(alt.view()).push_back(u'\n');
  if (saysSomething(title) && title != alt) descriptions.append(title.view()).push_back(u'\n');
}

}  // namespace

platform::String WFImgArrayCache::alternativeDescriptionsOfArray(std::span<const WFImg> array) {
  std::u16string descriptions;
  for (const WFImg& image : array) addTexts(image, descriptions);
  return platform::String(std::move(descriptions));
}

WFImgArrayCache WFImgArrayCache::imgArrayCacheWithArray(std::span<const WFImg> array) {
  WFImgArrayCache cache;
  for (const WFImg& image : array) cache.addSize(image);
  cache._imageAlternativeDescriptions = alternativeDescriptionsOfArray(array);
  return cache;
}

WFImgArrayCache WFImgArrayCache::imgArrayCacheWithArray(std::span<const XMLNode* const> array) {
  constexpr auto kOp = "-[WFImgArrayCache initWithArray:]";
  WFImgArrayCache cache;
  std::u16string descriptions;
  for (const XMLNode* node : array) {
    const auto* image = dynamic_cast<const WFImg*>(node);
    if (!image) {
      logError("%s -- Array doesn't contain WFImg objects", kOp);
      break;
    }
    cache.addSize(*image);
    addTexts(*image, descriptions);
  }
  cache._imageAlternativeDescriptions = platform::String(std::move(descriptions));
  return cache;
}

void WFImgArrayCache::addSize(const WFImg& image) {
  const std::int64_t area = image.area();
  if (area == kWFImgDimensionUnknown) {
    ++_numberOfUnknownSizedImages;
  } else {
    // A page may claim any sizes: the sum wraps instead of overflowing.
    _numberOfKnownImagePixels = static_cast<std::int64_t>(
        static_cast<std::uint64_t>(_numberOfKnownImagePixels) + static_cast<std::uint64_t>(area));
  }
}

}  // namespace sifterra
