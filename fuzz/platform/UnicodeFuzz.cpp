// UnicodeFuzz: the fast conversions give what the plain ones give, and searches what a step by step search
// gives.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/Unicode.h"
#include "reference/plain_unicode.h"

namespace platform = sifterra::platform;
namespace plain = sifterra::plain;

namespace {

void require(bool condition) {
  if (!condition) abort();
}

void checkConversions(const std::string& bytes, const std::u16string& units) {
  bool wellFormed = false;
  const std::u16string expected = plain::utf16(bytes, wellFormed);
  require(platform::utf16FromUTF8Lossy(bytes) == expected);
  const auto strict = platform::utf16FromUTF8(bytes);
  require(strict.has_value() == wellFormed && (!strict || *strict == expected));
  require(platform::utf8FromUTF16(units) == plain::utf8(units));
}

std::size_t plainFind(std::u16string_view text, std::u16string_view needle) {
  for (std::size_t start = 0; !needle.empty() && start < text.size();) {
    std::size_t i = start;
    std::size_t j = 0;
    bool same = true;
    while (same && j < needle.size()) {
      same = i < text.size() && platform::simpleFold(platform::nextCharacter(text, i)) ==
                                    platform::simpleFold(platform::nextCharacter(needle, j));
    }
    if (same) return start;
    (void)platform::nextCharacter(text, start);
  }
  return std::u16string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::u16string units;  // any, lone surrogates too
  for (std::size_t i = 0; i + 1 < size; i += 2)
    units.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
  checkConversions(bytes, units);

  // The text from the first line feed on, searched for what stands before it.
  const std::u16string text = platform::utf16FromUTF8Lossy(bytes);
  const std::size_t cut = std::min(text.find(u'\n'), text.size());
  if (cut <= 16) {  // the search takes as long as text and needle multiplied
    const std::u16string_view needle = std::u16string_view(text).substr(0, cut);
    const std::u16string_view rest = std::u16string_view(text).substr(cut);
    require(platform::findIgnoringCase(rest, needle) == plainFind(rest, needle));
    if (size < 64) require(platform::findIgnoringCase(units, needle) == plainFind(units, needle));
  }

  // Normalising and folding twice changes nothing more.
  std::u16string once;
  std::u16string twice;
  platform::appendNFKCCaseFolded(units, once);
  platform::appendNFKCCaseFolded(once, twice);
  require(once == twice);
  return 0;
}
