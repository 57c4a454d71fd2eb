// CharacterSetFuzz: any bytes decode by any encoding to at most one unit each, without lone surrogates; names
// are stable; statistics never choose an encoding that browsers do not decode.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/CharacterSet.h"
#include "platform/Unicode.h"

namespace platform = sifterra::platform;

namespace {

struct Label {
  const char* label;
  const char* encoding;
};
constexpr Label kLabels[] = {
#include "platform/web_encoding_labels.inc"
};

void require(bool condition) {
  if (!condition) abort();
}

void checkDecoding(std::string_view bytes, const std::string& encoding) {
  const auto text = platform::decodeBytes(bytes, encoding);
  require(text.has_value());
  require(text->size() <= bytes.size() + 1);  // an unfinished character at the end may make one more
  for (std::size_t i = 0; i < text->size();) {
    const char32_t c = platform::nextCharacter(*text, i);
    require(c < 0xD800 || c > 0xDFFF);
  }
}

void checkNames(std::string_view name) {
  if (const auto canonical = platform::canonicalIANACharacterSetName(name)) {
    require(platform::canonicalIANACharacterSetName(*canonical) == canonical);
  }
  if (const auto encoding = platform::webEncodingForLabel(name)) {
    require(platform::webEncodingForLabel(*encoding) == encoding);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  checkDecoding(bytes, kLabels[data[0] % std::size(kLabels)].encoding);
  checkNames(bytes);
  if (const auto guess = platform::detectEncoding(bytes, 0)) {
    const auto encoding = platform::webEncodingForLabel(*guess);
    require(encoding.has_value() && *encoding != "replacement");
  }
  return 0;
}
