// The cleaners' single scans against the plain versions. The plain ones are quadratic, so long inputs are
// cut; two bytes make a unit, so that every unit occurs.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "reference/plain_cleaners.h"
#include "sifterra/page/WFJavascriptStripper.h"
#include "sifterra/page/WFPostprocessor.h"

namespace {

using namespace sifterra;

constexpr std::size_t kMostUnits = 2048;

void require(bool holds) {
  if (!holds) std::abort();
}

// Bytes as Latin-1, but for 0xFF, which makes a unit out of the next two.
std::u16string unitsOf(const std::uint8_t* data, std::size_t size) {
  std::u16string units;
  for (std::size_t i = 0; i < size && units.size() < kMostUnits; ++i) {
    if (data[i] == 0xFF && i + 2 < size) {
      units.push_back(static_cast<char16_t>(data[i + 1] * 256 + data[i + 2]));
      i += 2;
    } else {
      units.push_back(data[i]);
    }
  }
  return units;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = unitsOf(data, size);
  const platform::String input(text);
  require(WFPostprocessor::lightweightStripHTMLTagsForLine(input).view() ==
          reference::lightweightStripHTMLTagsForLine(text));
  require(WFPostprocessor::lightweightStripHTMLTags(input).view() ==
          reference::lightweightStripHTMLTags(text));
  require(WFPostprocessor::postprocessPlainTextWebPage(input).view() ==
          reference::postprocessPlainTextWebPage(text));
  require(WFPostprocessor::adultWebSiteTagging(input).view() == reference::adultWebSiteTagging(text));
  require(WFJavascriptStripper::stripJavascript(input).view() == reference::stripJavascript(text));
  require(WFJavascriptStripper::javascriptStripLine(input).view() == reference::javascriptStripLine(text));
  const std::vector<platform::String> lines = WFJavascriptStripper::getJavascriptLines(input);
  require(std::ranges::equal(lines, reference::getJavascriptLines(text), {}, &platform::String::view));

  const std::size_t from = size == 0 ? 0 : data[0] % (text.size() + 1);
  const std::size_t count = std::min<std::size_t>(size < 2 ? 0 : data[1], text.size() - from);
  const reference::PlainRange plain = reference::rangeOfFirstHTMLTag(text, from, count);
  const WFTagRange range = WFPostprocessor::rangeOfFirstHTMLTag(input, {from, count});
  require(range.length == plain.length && range.location == (plain.found ? plain.location : kWFTagNotFound));
  return 0;
}
