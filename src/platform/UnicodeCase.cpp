// UnicodeCase: lower-casing, simple case folding and searches under it.
//
// Folding is a table of differences for the first 65,536 characters, in pages of 256 that share one page of
// zeros where nothing folds (about twenty do not). It is made from ICU's data when first asked for.
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>

#include "platform/Unicode.h"
#include "platform/icu_data.h"

namespace sifterra::platform {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
constexpr char32_t kPlaneSize = 0x10000;

char32_t foldByICU(char32_t c) noexcept {
  return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

// Simple folding never leaves the plane, so a difference modulo 2^16 says it all.
class FoldTable {
 public:
  FoldTable() {
    for (char32_t first = 0; first < kPlaneSize; first += kPageSize) {
      Page page{};
      for (char32_t c = first; c < first + kPageSize; ++c) {
        page[c - first] = static_cast<char16_t>(foldByICU(c) - c);
      }
      // Never destroyed, like the table: threads may ask while the process exits.
      pages_[first / kPageSize] = page == nothing_ ? &nothing_ : new Page(page);
    }
  }

  [[nodiscard]] char16_t fold(char16_t unit) const noexcept {
    return static_cast<char16_t>(unit + (*pages_[unit / kPageSize])[unit % kPageSize]);
  }

 private:
  static constexpr char32_t kPageSize = 256;
  using Page = std::array<char16_t, kPageSize>;
  static constexpr Page nothing_{};
  std::array<const Page*, kPlaneSize / kPageSize> pages_;
};

const FoldTable& foldTable() {
  static const FoldTable& table = *new FoldTable;
  return table;
}

char32_t fold(const FoldTable& table, char32_t c) noexcept {
  return c < kPlaneSize ? table.fold(static_cast<char16_t>(c)) : foldByICU(c);
}

// Whether the needle, up to folding, stands at `start`.
bool matchesAt(const FoldTable& table, std::u16string_view text, std::size_t start,
               std::u16string_view needle) noexcept {
  for (std::size_t i = start, j = 0; j < needle.size();) {
    if (i >= text.size()) return false;
    if (fold(table, nextCharacter(text, i)) != fold(table, nextCharacter(needle, j))) return false;
  }
  return true;
}

// The units that fold to an ASCII unit: itself, its capital, and a third one for s (U+017F) and k (U+212A).
class ASCIISpellings {
 public:
  explicit ASCIISpellings(char16_t folded) noexcept : lower_(folded), upper_(folded), third_(folded) {
    if (folded >= u'a' && folded <= u'z') upper_ = static_cast<char16_t>(folded - (u'a' - u'A'));
    if (folded == u's') third_ = 0x017F;
    if (folded == u'k') third_ = 0x212A;
  }

  // The first position at or after `from` and before `end` that holds one of them, or `end`.
  [[nodiscard]] std::size_t scan(std::u16string_view text, std::size_t from, std::size_t end) const noexcept {
    constexpr std::size_t kBlock = 16;  // the inner loop becomes a few vector instructions
    for (; end - from >= kBlock; from += kBlock) {
      std::uint16_t any = 0;
      for (std::size_t i = 0; i < kBlock; ++i) any |= match(text[from + i]);
      if (any != 0) break;
    }
    while (from < end && match(text[from]) == 0) ++from;
    return from;
  }

 private:
  // All ones for a match, as vector comparisons give it.
  [[nodiscard]] std::uint16_t match(char16_t unit) const noexcept {
    return static_cast<std::uint16_t>(
        -static_cast<int>((unit == lower_) | (unit == upper_) | (unit == third_)));
  }
  char16_t lower_;
  char16_t upper_;
  char16_t third_;
};

std::size_t findByFirstASCII(std::u16string_view text, std::u16string_view needle, std::size_t from,
                             char16_t first) noexcept {
  const FoldTable& table = foldTable();
  const ASCIISpellings spellings(first);
  const std::size_t end = text.size() - needle.size() + 1;  // matches begin before it
  for (std::size_t at = from; (at = spellings.scan(text, at, end)) < end; ++at) {
    if (matchesAt(table, text, at, needle)) return at;
  }
  return kNone;
}

bool isInsidePair(std::u16string_view text, std::size_t at) noexcept {
  return at > 0 && at < text.size() && (text[at] & 0xFC00) == 0xDC00 && (text[at - 1] & 0xFC00) == 0xD800;
}

}  // namespace

std::u16string lowercased(std::u16string_view text) {
  std::u16string lower(text.size(), u'\0');
  if (isASCII(text)) {
    std::transform(text.begin(), text.end(), lower.begin(), [](char16_t unit) {
      return static_cast<char16_t>(unit >= u'A' && unit <= u'Z' ? unit + (u'a' - u'A') : unit);
    });
    return lower;
  }
  // Twice at most: the first call says how much room a text needs that grows (U+0130 gives two characters).
  for (;;) {
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t length = u_strToLower(lower.data(), static_cast<std::int32_t>(lower.size()),
                                             text.data(), static_cast<std::int32_t>(text.size()), "", &error);
    const bool fits = static_cast<std::size_t>(length) <= lower.size();
    lower.resize(static_cast<std::size_t>(length));
    if (fits) return lower;
  }
}

char32_t simpleFold(char32_t c) noexcept {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
  return fold(foldTable(), c);
}

bool equalIgnoringCase(std::u16string_view a, std::u16string_view b) noexcept {
  // A character and its folding have the same number of units.
  return a.size() == b.size() && matchesAt(foldTable(), a, 0, b);
}

std::size_t findIgnoringCase(std::u16string_view text, std::u16string_view needle,
                             std::size_t from) noexcept {
  if (needle.empty() || from > text.size() || text.size() - from < needle.size()) return kNone;
  const FoldTable& table = foldTable();
  std::size_t second = 0;
  const char32_t first = fold(table, nextCharacter(needle, second));
  if (first < 0x80) return findByFirstASCII(text, needle, from, static_cast<char16_t>(first));
  if (isInsidePair(text, from)) ++from;
  for (std::size_t at = from; at + needle.size() <= text.size();) {
    std::size_t next = at;
    if (fold(table, nextCharacter(text, next)) == first && matchesAt(table, text, at, needle)) return at;
    at = next;
  }
  return kNone;
}

}  // namespace sifterra::platform
