// short_refresh: the delay is ASCII digits, of any number, by value.
#include "page/short_refresh.h"

#include <algorithm>

#include "platform/Unicode.h"
#include "util/string_helpers.h"

namespace sifterra {

namespace {

std::u16string_view trimmedSpacesAndTabs(std::u16string_view text) noexcept {
  constexpr std::u16string_view kTrimmed = u" \t";
  const std::size_t first = text.find_first_not_of(kTrimmed);
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kTrimmed) - first + 1);
}

}  // namespace

bool isShortRefresh(std::u16string_view content) {
  std::u16string_view rest = trimmedSpacesAndTabs(content);
  if (containsString(rest, kImageSearchRefresh)) return false;
  while (!rest.empty() && platform::isWhitespaceOrNewline(rest.front())) rest.remove_prefix(1);
  unsigned seconds = 0;
  bool anyDigit = false;
  for (const char16_t c : rest) {
    if (c < u'0' || c > u'9') break;
    anyDigit = true;
    // Above the limit the number need not be known, only that it stays above.
    seconds = std::min(seconds * 10 + static_cast<unsigned>(c - u'0'), kLongestShortRefresh + 1);
  }
  return anyDigit && seconds <= kLongestShortRefresh;
}

}  // namespace sifterra
