// Unicode: character classes from ICU's data.
//
// The general categories of the first 65,536 characters are copied into a table of bytes when they are first
// asked for, so a question costs one load; the rest, which is rare in pages, goes to ICU each time.
#include "platform/Unicode.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <array>

#include "platform/icu_data.h"

namespace sifterra::platform {
namespace {

constexpr char32_t kPlaneSize = 0x10000;
using PlaneBytes = std::array<std::uint8_t, kPlaneSize>;

template <class Question>
const PlaneBytes& makePlane(Question question) {
  auto* bytes = new PlaneBytes;  // never destroyed: threads may ask while the process exits
  for (char32_t c = 0; c < kPlaneSize; ++c) (*bytes)[c] = static_cast<std::uint8_t>(question(c));
  return *bytes;
}

// The general category's bit, as in ICU's masks.
std::uint32_t categoryMask(char32_t c) noexcept {
  static const PlaneBytes& categories =
      makePlane([](char32_t d) { return u_charType(static_cast<UChar32>(d)); });
  return U_MASK(c < kPlaneSize ? categories[c] : u_charType(static_cast<UChar32>(c)));
}

Script scriptOf(UScriptCode code) noexcept {
  switch (code) {
    case USCRIPT_COMMON:
      return Script::Common;
    case USCRIPT_INHERITED:
      return Script::Inherited;
    case USCRIPT_LATIN:
      return Script::Latin;
    case USCRIPT_GREEK:
      return Script::Greek;
    case USCRIPT_CYRILLIC:
      return Script::Cyrillic;
    case USCRIPT_HAN:
      return Script::Han;
    case USCRIPT_HIRAGANA:
      return Script::Hiragana;
    case USCRIPT_KATAKANA:
      return Script::Katakana;
    case USCRIPT_BOPOMOFO:
      return Script::Bopomofo;
    case USCRIPT_HANGUL:
      return Script::Hangul;
    case USCRIPT_THAI:
      return Script::Thai;
    case USCRIPT_LAO:
      return Script::Lao;
    case USCRIPT_KHMER:
      return Script::Khmer;
    case USCRIPT_MYANMAR:
      return Script::Myanmar;
    case USCRIPT_ARABIC:
      return Script::Arabic;
    case USCRIPT_HEBREW:
      return Script::Hebrew;
    case USCRIPT_DEVANAGARI:
      return Script::Devanagari;
    case USCRIPT_BENGALI:
      return Script::Bengali;
    case USCRIPT_TAMIL:
      return Script::Tamil;
    case USCRIPT_TELUGU:
      return Script::Telugu;
    case USCRIPT_GUJARATI:
      return Script::Gujarati;
    case USCRIPT_GURMUKHI:
      return Script::Gurmukhi;
    case USCRIPT_KANNADA:
      return Script::Kannada;
    case USCRIPT_MALAYALAM:
      return Script::Malayalam;
    case USCRIPT_SINHALA:
      return Script::Sinhala;
    case USCRIPT_GEORGIAN:
      return Script::Georgian;
    case USCRIPT_ARMENIAN:
      return Script::Armenian;
    case USCRIPT_ETHIOPIC:
      return Script::Ethiopic;
    case USCRIPT_TIBETAN:
      return Script::Tibetan;
    case USCRIPT_MONGOLIAN:
      return Script::Mongolian;
    default:
      return Script::Other;
  }
}

Script lookUpScript(char32_t c) noexcept {
  UErrorCode error = U_ZERO_ERROR;
  return scriptOf(uscript_getScript(static_cast<UChar32>(c), &error));
}

}  // namespace

bool isWhitespaceOrNewline(char32_t c) noexcept {
  if (c < 0x85) return c == ' ' || (c >= '\t' && c <= '\r');
  return c == 0x85 || (categoryMask(c) & U_GC_Z_MASK) != 0;
}

bool isSymbol(char32_t c) noexcept {
  return (categoryMask(c) & U_GC_S_MASK) != 0;
}

bool isLetter(char32_t c) noexcept {
  return (categoryMask(c) & U_GC_L_MASK) != 0;
}

bool isMark(char32_t c) noexcept {
  return (categoryMask(c) & U_GC_M_MASK) != 0;
}

bool isDecimalDigit(char32_t c) noexcept {
  return (categoryMask(c) & U_GC_ND_MASK) != 0;
}

bool isFormatCharacter(char32_t c) noexcept {
  return (categoryMask(c) & U_GC_CF_MASK) != 0;
}

int decimalDigitValue(char32_t c) noexcept {
  if (c < 0x80) return c >= '0' && c <= '9' ? static_cast<int>(c - '0') : -1;
  return u_charDigitValue(static_cast<UChar32>(c));
}

Script unicodeScript(char32_t c) noexcept {
  static const PlaneBytes& scripts = makePlane([](char32_t d) { return lookUpScript(d); });
  return c < kPlaneSize ? static_cast<Script>(scripts[c]) : lookUpScript(c);
}

std::u16string_view trimmedWhitespaceAndNewlines(std::u16string_view text) noexcept {
  // White space has no character outside the first plane, so units can be tested one by one.
  while (!text.empty() && isWhitespaceOrNewline(text.front())) text.remove_prefix(1);
  while (!text.empty() && isWhitespaceOrNewline(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace sifterra::platform
