// URL repair: a URL comes back as the plain splitting puts it together; any other text comes back in escapes
// that decode to what the text decodes to.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "reference/fuzz_units.h"
#include "reference/plain_url_repair.h"
#include "sifterra/platform/URL.h"
#include "util/string_helpers.h"

namespace {

using namespace sifterra;

void check(bool holds) {
  if (!holds) std::abort();
}

std::optional<std::string> decoded(const std::string& text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF0123456789abcdef";
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    const std::size_t high = i + 2 < text.size() ? kDigits.find(text[i + 1]) : std::string_view::npos;
    const std::size_t low = i + 2 < text.size() ? kDigits.find(text[i + 2]) : std::string_view::npos;
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    bytes += static_cast<char>((high % 16) * 16 + low % 16);
    i += 2;
  }
  return bytes;
}

void checkEscapes(const platform::String& text, const std::string& result) {
  constexpr std::string_view kAllowed =
      "%:/?#[]@!$&'()*+,;=-._~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  check(result.find_first_not_of(kAllowed) == std::string::npos);
  const std::optional<std::string> back = decoded(result);
  check(back.has_value());
  const std::string bytes = text.toUTF8();
  const bool whole = platform::String::fromUTF8(bytes) == text;  // no lone surrogate
  const std::optional<std::string> plain = decoded(bytes);
  const bool spellsUTF8 = whole && plain && platform::String::fromUTF8(*plain);
  check(*back == (spellsUTF8 ? *plain : bytes));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const platform::String text(reference::unitsFrom(data, size));
  const platform::String repaired = stringByProperlyFixingPercentEscapes(text);
  check(!repaired.isNull());
  const std::string bytes = text.toUTF8();
  const platform::URL url = platform::URL::fromString(text);
  if (!url) {
    checkEscapes(text, repaired.toUTF8());
  } else if (reference::isPlain(url)) {
    check(repaired.toUTF8() == reference::repairedURL(bytes));
  }
  return 0;
}
