// folded_search.cpp: a scan for the needle's two rarest characters, sixteen units at a time.
//
// Only ASCII letters, the long s (U+017F) and the Kelvin sign (U+212A) fold to ASCII letters, so an ASCII
// needle is compared unit by unit with those two and no table of all foldings. The tests hold this claim
// against every character there is.
#include "util/folded_search.h"

#include <algorithm>
#include <array>
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

// How common each folded ASCII unit is in page text, in rough steps: the lower, the better to look for.
constexpr std::array<std::uint8_t, 0x80> commonnessTable() {
  constexpr std::u16string_view kRarestFirst =
      u"~^`|{}qzxj@$%+*#[]<>_&;7693458kv2!?10()\"'/:wybgfpm-,.ucldhrsnioate ";
  std::array<std::uint8_t, 0x80> table{};
  for (std::size_t rank = 0; rank < kRarestFirst.size(); ++rank) {
    table[kRarestFirst[rank]] = static_cast<std::uint8_t>(rank);
  }
  return table;
}
constexpr std::array<std::uint8_t, 0x80> kCommonness = commonnessTable();

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

// A character of the needle to look for.
struct Anchor {
  std::size_t position;
  Spellings spellings;
};

// The first place at or after `from` and before `end` where both anchors match, or `end`. One would do, but
// in a long text even a rare letter stands in every few blocks, and each time the block is walked in vain.
std::size_t scan(const char16_t* text, std::size_t from, std::size_t end, const Anchor& first,
                 const Anchor& second) {
  constexpr std::size_t kBlock = 16;
  const Spellings one = first.spellings;
  const Spellings other = second.spellings;
  const char16_t* ones = text + first.position;
  const char16_t* others = text + second.position;
  const auto match = [&](std::size_t i) {
    return static_cast<std::uint16_t>(one.matches(ones[i]) & other.matches(others[i]));
  };
  for (; end - from >= kBlock; from += kBlock) {
    std::uint16_t any = 0;
    for (std::size_t i = 0; i < kBlock; ++i) any |= match(from + i);
    if (any != 0) break;
  }
  while (from < end && match(from) == 0) ++from;
  return from;
}

bool equalsFolded(const char16_t* text, std::u16string_view needle) {
  for (std::size_t i = 0; i < needle.size(); ++i) {
    if (foldToASCII(text[i]) != foldToASCII(needle[i])) return false;
  }
  return true;
}

// The rarest character besides that at `other`; that one itself when there is no other.
Anchor rarest(std::u16string_view needle, std::size_t other) {
  std::size_t best = other < needle.size() ? other : 0;
  for (std::size_t i = 0; i < needle.size(); ++i) {
    if (i == other) continue;
    const bool isFirst = best == other;
    if (isFirst || kCommonness[foldToASCII(needle[i])] < kCommonness[foldToASCII(needle[best])]) best = i;
  }
  return {best, Spellings(foldToASCII(needle[best]))};
}

std::size_t findASCII(std::u16string_view text, std::u16string_view needle, std::size_t from) {
  const Anchor first = rarest(needle, std::u16string_view::npos);
  const Anchor second = rarest(needle, first.position);
  const std::size_t end = text.size() - needle.size() + 1;  // matches start before it
  for (std::size_t at = from; (at = scan(text.data(), at, end, first, second)) < end; ++at) {
    if (equalsFolded(text.data() + at, needle)) return at;
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
