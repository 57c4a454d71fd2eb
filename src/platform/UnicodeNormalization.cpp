// UnicodeNormalization: ICU's normalisers, with ASCII handled here.
//
// ASCII is already normalised, so a text is copied up to its first other unit. The last ASCII unit goes to
// ICU with the rest: a mark may combine with it.
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>

#include "platform/Unicode.h"
#include "platform/icu_data.h"

namespace sifterra::platform {
namespace {

// The ASCII units at the start that nothing can combine with.
std::size_t settledASCII(std::u16string_view text) noexcept {
  const auto other = std::find_if(text.begin(), text.end(), [](char16_t unit) { return unit >= 0x80; });
  if (other == text.end()) return text.size();
  const auto count = static_cast<std::size_t>(other - text.begin());
  return count == 0 ? 0 : count - 1;
}

void appendFoldedASCII(std::u16string_view text, std::u16string& out) {
  const std::size_t before = out.size();
  out.resize(before + text.size());
  std::transform(text.begin(), text.end(), out.begin() + static_cast<std::ptrdiff_t>(before),
                 [](char16_t unit) {
                   return static_cast<char16_t>(unit >= u'A' && unit <= u'Z' ? unit + (u'a' - u'A') : unit);
                 });
}

// Appends what an ICU function of the usual form makes of the text. It is asked twice when the text grows by
// more than half.
template <class Function>
void appendResult(std::u16string_view text, std::u16string& out, Function function) {
  if (text.empty()) return;
  const std::size_t before = out.size();
  std::size_t room = text.size() + text.size() / 2 + 8;
  for (;;) {
    out.resize(before + room);
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t length = function(text.data(), static_cast<std::int32_t>(text.size()),
                                         out.data() + before, static_cast<std::int32_t>(room), &error);
    const bool fits = static_cast<std::size_t>(length) <= room;
    room = static_cast<std::size_t>(length);
    if (!fits) continue;
    out.resize(before + room);
    return;
  }
}

void appendNormalized(const UNormalizer2* normalizer, std::u16string_view text, std::u16string& out) {
  appendResult(
      text, out,
      [normalizer](const char16_t* from, std::int32_t size, char16_t* to, std::int32_t room,
                   UErrorCode* error) { return unorm2_normalize(normalizer, from, size, to, room, error); });
}

// The instances belong to ICU. They are part of its data; without that nothing here works.
const UNormalizer2* nfkc() {
  UErrorCode error = U_ZERO_ERROR;
  return unorm2_getNFKCInstance(&error);
}

const UNormalizer2* nfkcCasefold() {
  UErrorCode error = U_ZERO_ERROR;
  return unorm2_getNFKCCasefoldInstance(&error);
}

}  // namespace

void appendNFKC(std::u16string_view text, std::u16string& out) {
  const std::size_t settled = settledASCII(text);
  out.append(text.substr(0, settled));
  appendNormalized(nfkc(), text.substr(settled), out);
}

void appendFullCaseFolded(std::u16string_view text, std::u16string& out) {
  const std::size_t settled = settledASCII(text);
  appendFoldedASCII(text.substr(0, settled), out);
  appendResult(
      text.substr(settled), out,
      [](const char16_t* from, std::int32_t size, char16_t* to, std::int32_t room, UErrorCode* error) {
        return u_strFoldCase(to, room, from, size, U_FOLD_CASE_DEFAULT, error);
      });
}

void appendNFKCCaseFolded(std::u16string_view text, std::u16string& out) {
  const std::size_t settled = settledASCII(text);
  appendFoldedASCII(text.substr(0, settled), out);
  appendNormalized(nfkcCasefold(), text.substr(settled), out);
}

}  // namespace sifterra::platform
