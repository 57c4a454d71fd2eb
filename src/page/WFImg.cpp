// WFImg: reads its element's attributes each time it is asked.
#include "sifterra/page/WFImg.h"

#include <string>

#include "page/node_text.h"

namespace sifterra {

using platform::String;

namespace {

// Values stand in a description as they are, a missing one as "(null)".
std::u16string shown(const String& value) {
  return value ? std::u16string(value.view()) : std::u16string(u"(null)");
}

std::u16string shown(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

}  // namespace

String WFImg::alt() const {
  return attributeText(xmlNode(), "alt");
}
String WFImg::title() const {
  return attributeText(xmlNode(), "title");
}
String WFImg::src() const {
  return attributeText(xmlNode(), "src");
}
std::int64_t WFImg::width() const {
  return attributeNumber(xmlNode(), "width");
}
std::int64_t WFImg::height() const {
  return attributeNumber(xmlNode(), "height");
}

std::int64_t WFImg::area() const {
  const std::int64_t w = width();
  const std::int64_t h = height();
  if (w == kWFImgDimensionUnknown || h == kWFImgDimensionUnknown) return kWFImgDimensionUnknown;
  return w * h;  // both fit into 32 bits, so the product fits
}

String WFImg::description() const {
  return String(u"(WFImg alt:" + shown(alt()) + u" src:" + shown(src()) + u" width:" + shown(width()) +
                u" height:" + shown(height()) + u" )");
}

}  // namespace sifterra
