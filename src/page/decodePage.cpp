// decodePage: find the encoding, decode, then make the text safe for the parser: first it is to see what
// browsers see, then to stay within its limits.
#include "sifterra/page/decodePage.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "page/align_markup.h"
#include "page/declared_encoding.h"
#include "page/declared_entities.h"
#include "page/named_references.h"
#include "page/tame_markup.h"
#include "platform/CharacterSet.h"
#include "platform/Unicode.h"

namespace sifterra {

namespace {

// The first declaration that the parser's own search finds: it stands in front of any that the page
// holds, and says what the text will be when it is parsed. A comment adds nothing to the page.
constexpr std::u16string_view kDeclaration = u"<!--charset=\"UTF-8\"-->";

constexpr std::size_t kSampledBytes = 64 * 1024;  // what statistics look at
constexpr int kEnoughConfidence = 25;             // of 100; below, the guess is worth less than windows-1252

struct ByteOrderMark {
  std::string_view bytes;
  const char* encoding;
};
using namespace std::string_view_literals;
constexpr ByteOrderMark kMarks[] = {
    {"\xEF\xBB\xBF"sv, "UTF-8"}, {"\xFE\xFF"sv, "UTF-16BE"}, {"\xFF\xFE"sv, "UTF-16LE"}};

constexpr bool isWordByte(char c) {
  return c == ' ' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether somewhere most units without a zero are two letters. Such a page only pretends to be UTF-16:
// browsers drop its zeros and show the letters.
bool holdsPlainWords(std::string_view bytes, std::size_t highHalf) {
  constexpr std::size_t kWindow = 64;  // units
  constexpr std::size_t kFew = 8;      // that tell nothing
  std::size_t wide = 0;
  std::size_t plain = 0;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    if (bytes[i + highHalf] == '\0') continue;
    ++wide;
    plain += isWordByte(bytes[i]) && isWordByte(bytes[i + 1]);
    if (wide < kWindow) continue;
    if (plain > wide / 2) return true;
    wide = plain = 0;
  }
  return wide > kFew && plain > wide / 2;
}

// Latin text in UTF-16 has a zero in every other byte. More than a quarter of the sample on one side
// and next to none on the other tells which half is high.
std::optional<std::string> unmarkedUTF16(std::string_view bytes) {
  const std::string_view sample = bytes.substr(0, kDeclarationBytes);
  std::size_t zeros[2] = {0, 0};
  for (std::size_t i = 0; i < sample.size(); ++i) zeros[i % 2] += sample[i] == '\0';
  const std::size_t many = sample.size() / 4;
  const std::size_t few = sample.size() / 64;
  if (sample.size() < 4) return std::nullopt;
  if (zeros[1] > many && zeros[0] <= few && !holdsPlainWords(bytes, 1)) return "UTF-16LE";
  if (zeros[0] > many && zeros[1] <= few && !holdsPlainWords(bytes, 0)) return "UTF-16BE";
  return std::nullopt;
}

// What the page says of itself. It was read byte by byte, so it cannot truly be UTF-16, and browsers
// take the x-user-defined of old scripts for windows-1252.
std::optional<std::string> declaredEncoding(std::string_view bytes) {
  const std::optional<std::string> label = declaredEncodingLabel(bytes);
  if (!label) return std::nullopt;
  std::optional<std::string> encoding = platform::webEncodingForLabel(*label);
  if (!encoding) return std::nullopt;
  if (encoding->starts_with("UTF-16")) return "UTF-8";
  if (*encoding == "x-user-defined") return "windows-1252";
  return encoding;
}

std::optional<std::u16string> decodedBy(std::string_view bytes, const std::optional<std::string>& encoding) {
  if (!encoding) return std::nullopt;
  if (*encoding == "UTF-8") return platform::utf16FromUTF8Lossy(bytes);
  return platform::decodeBytes(bytes, *encoding);
}

// Windows-1252 and ISO-8859-1 are one encoding on the web.
std::optional<std::string> detectedEncoding(std::string_view bytes) {
  std::optional<std::string> guess =
      platform::detectEncoding(bytes.substr(0, kSampledBytes), kEnoughConfidence);
  if (guess) guess = platform::webEncodingForLabel(*guess);
  return guess;
}

std::u16string decoded(std::string_view bytes, const platform::String& contentTypeCharset) {
  for (const ByteOrderMark& mark : kMarks) {
    if (!bytes.starts_with(mark.bytes)) continue;
    return decodedBy(bytes.substr(mark.bytes.size()), mark.encoding).value_or(std::u16string());
  }
  if (contentTypeCharset) {
    const auto encoding = platform::webEncodingForLabel(contentTypeCharset.toUTF8());
    if (auto text = decodedBy(bytes, encoding)) return std::move(*text);
  }
  if (auto text = decodedBy(bytes, declaredEncoding(bytes))) return std::move(*text);
  if (auto text = decodedBy(bytes, unmarkedUTF16(bytes))) return std::move(*text);
  if (auto text = platform::utf16FromUTF8(bytes)) return std::move(*text);
  if (auto text = decodedBy(bytes, detectedEncoding(bytes))) return std::move(*text);
  if (auto text = platform::decodeBytes(bytes, "windows-1252")) return std::move(*text);
  return platform::utf16FromUTF8Lossy(bytes);
}

}  // namespace

namespace {

platform::String decodedPage(const platform::Data& bytes, const platform::String& contentTypeCharset,
                             Unread unread) {
  if (!bytes) return nullptr;
  std::u16string text = decoded(bytes.chars(), contentTypeCharset);
  if (text.starts_with(u'\uFEFF')) text.erase(0, 1);
  text = withNumberedReferences(alignedMarkup(withDeclaredEntities(std::move(text))));
  text.insert(0, kDeclaration);
  return platform::String(tamedMarkup(std::move(text), unread));
}

}  // namespace

platform::String decodePage(const platform::Data& bytes, const platform::String& contentTypeCharset) {
  return decodedPage(bytes, contentTypeCharset, Unread::Left);
}

platform::String decodePageToShow(const platform::Data& bytes, const platform::String& contentTypeCharset) {
  return decodedPage(bytes, contentTypeCharset, Unread::Kept);
}

}  // namespace sifterra
