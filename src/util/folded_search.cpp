// folded_search.cpp: a scan for the needle's rarest character, sixteen units at a time.
//
// Only ASCII letters, the long s (U+017F) and the Kelvin sign (U+212A) fold to ASCII letters, so an ASCII
// needle is compared unit by unit with those two and no table of all foldings. The tests hold this claim
// against every character there is.
#include "util/folded_search.h"

#include <algorithm>
#include <cstdint>

#include "platform/Unicode.h"

namespace sifterra {
namespace {

constexpr char16_t kLongS = 0x017f;
constexpr char16_t kKelvinSign = 0x212a;

bool isASCII(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

// The simple folding of a unit, as far as it is ASCII.
char16_t foldToASCII(char16_t unit) {
  if (unit >= u'A' && unit <= u'Z') return static_cast<char16_t>(unit + (u'a' - u'A'));
  if (unit == kLongS) return u's';
  if (unit == kKelvinSign) return u'k';
  return unit;
}

// How common a folded ASCII unit is in page text, in rough steps: the lower, the better to look for.
std::size_t commonness(char16_t folded) {
  constexpr std::u16string_view kRarestFirst =
      u"~^`|{}qzxj@$%+*#[]<>_&;7693458kv2!?10()\"'/:wybgfpm-,.ucldhrsnioate ";
  const std::size_t rank = kRarestFirst.find(folded);
  return rank == std::u16string_view::npos ? 0 : rank;
}

// The units that fold to an ASCII unit: itself, its capital, and for s and k one of the two strangers.
struct Spellings {
  explicit Spellings(char16_t folded) : lower(folded), upper(folded), stranger(folded) {
    if (folded >= u'a' && folded <= u'z') upper = static_cast<char16_t>(folded - (u'a' - u'A'));
    if (folded == u's') stranger = kLongS;
    if (folded == u'k') stranger = kKelvinSign;
  }
  // All ones for a match, so that a block of sixteen becomes a few vector instructions.
  [[nodiscard]] std::uint16_t matches(char16_t unit) const {
    return static_cast<std::uint16_t>(
        -static_cast<int>((unit == lower) | (unit == upper) | (unit == stranger)));
  }
  char16_t lower;
  char16_t upper;
  char16_t stranger;
};

// The first position at or after `from` and before `end` that holds one of the spellings, or `end`.
std::size_t scan(const char16_t* text, std::size_t from, std::size_t end, const Spellings& spellings) {
  constexpr std::size_t kBlock = 16;
  for (; end - from >= kBlock; from += kBlock) {
    std::uint16_t any = 0;
    for (std::size_t i = 0; i < kBlock; ++i) any |= spellings.matches(text[from + i]);
    if (any != 0) break;
  }
  while (from < end && spellings.matches(text[from]) == 0) ++from;
  return from;
}

bool equalsFolded(const char16_t* text, std::u16string_view needle) {
  for (std::size_t i = 0; i < needle.size(); ++i) {
    if (foldToASCII(text[i]) != foldToASCII(needle[i])) return false;
  }
  return true;
}

std::size_t rarestPosition(std::u16string_view needle) {
  const auto rarest = std::min_element(needle.begin(), needle.end(), [](char16_t a, char16_t b) {
    return commonness(foldToASCII(a)) < commonness(foldToASCII(b));
  });
  return static_cast<std::size_t>(rarest - needle.begin());
}

std::size_t findASCII(std::u16string_view text, std::u16string_view needle, std::size_t from) {
  const std::size_t anchor = rarestPosition(needle);
  const Spellings spellings(foldToASCII(needle[anchor]));
  const std::size_t end = text.size() - needle.size() + anchor + 1;  // anchors lie before it
  for (std::size_t at = from + anchor; (at = scan(text.data(), at, end, spellings)) < end; ++at) {
    if (equalsFolded(text.data() + at - anchor, needle)) return at - anchor;
  }
  return std::u16string_view::npos;
}

}  // namespace

std::size_t findFolded(std::u16string_view text, std::u16string_view needle, std::size_t from) {
  if (needle.empty() || from > text.size() || text.size() - from < needle.size()) {
    return std::u16string_view::npos;
  }
  if (isASCII(needle)) return findASCII(text, needle, from);
  return platform::findIgnoringCase(text, needle, from);
}

}  // namespace sifterra
