// WFDocumentStructureTag: two tables of limits.
#include "sifterra/text/WFDocumentStructureTag.h"

#include <string>

#include "sifterra/text/WFWebPageDecorator.h"
#include "util/decimal.h"

namespace sifterra {

using platform::String;

namespace {

struct CountBucket {
  std::int64_t atLeast;
  std::int64_t label;
};

// Kept: below ten a bucket's label is not its lower end, five images are in the bucket labelled 2.
constexpr CountBucket kCountBuckets[] = {
    {100, 100}, {90, 90}, {80, 80}, {70, 70}, {60, 60}, {50, 50}, {40, 40},
    {30, 30},   {20, 20}, {10, 10}, {6, 5},   {3, 2},   {1, 1},
};

struct PixelBucket {
  std::int64_t moreThan;
  const char16_t* word;
};

constexpr PixelBucket kPixelBuckets[] = {
    {2000000, u"Images2MegaPixelsWebFilterTag"},  {1000000, u"Images1MegaPixelsWebFilterTag"},
    {700000, u"Images700KiloPixelsWebFilterTag"}, {400000, u"Images400KiloPixelsWebFilterTag"},
    {100000, u"Images100KiloPixelsWebFilterTag"}, {50000, u"Images50KiloPixelsWebFilterTag"},
    {25000, u"Images25KiloPixelsWebFilterTag"},   {15000, u"Images15KiloPixelsWebFilterTag"},
    {5000, u"Images5KiloPixelsWebFilterTag"},
};

}  // namespace

String WFDocumentStructureTag::tagWithWebpage(const WFWebPageDecorator& webpage) const {
  const std::int64_t pixels = webpage.numberOfKnownImagePixels();
  const std::int64_t images = webpage.numberOfImages();
  std::u16string tag(tagForNumberOfPixels(pixels).view());
  tag.append(u" (TotAreaWFImagesTag:").append(decimalString(pixels)).append(u") | ");
  tag.append(tagForNumberOfImages(images).view());
  return String(tag.append(u" (TotNumWFImagesTag:").append(decimalString(images)).append(u")"));
}

String WFDocumentStructureTag::tagForNumberOfImages(std::int64_t count) {
  for (const CountBucket& bucket : kCountBuckets) {
    if (count >= bucket.atLeast) return String(u"ImageCount" + decimalString(bucket.label) + u"WebFilterTag");
  }
  return String(u"NoImagesWebFilterTag");
}

String WFDocumentStructureTag::tagForNumberOfPixels(std::int64_t count) {
  for (const PixelBucket& bucket : kPixelBuckets) {
    if (count > bucket.moreThan) return String(bucket.word);
  }
  return String(u"ImagesNoPixelsWebFilterTag");
}

}  // namespace sifterra
