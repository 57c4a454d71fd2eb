// text_cut: finds a byte near the cut that is a character by itself in every charset of the kind, and walks
// on from there character by character.
//
// Bytes up to the blank never belong to a longer character in any charset that extends ASCII, not even in
// those that shift between tables. Only the last kilobytes are looked at: text without a blank for so long is
// cut where the walk from there ends.
#include "text_cut.h"

#include <algorithm>
#include <array>

#include "ascii_text.h"

namespace sifterra::icap {
namespace {

constexpr std::size_t kLookBack = 4096;
constexpr std::size_t kDeclarationBytes = 1024;

using Byte = unsigned char;

// How many bytes the character takes that begins with these; 1 for what begins none.
using CharacterLength = std::size_t (*)(Byte first, Byte second);

std::size_t utf8Length(Byte first, Byte) {
  if (first >= 0xF0 && first <= 0xF4) return 4;
  if (first >= 0xE0) return first <= 0xEF ? 3 : 1;
  return first >= 0xC2 ? 2 : 1;
}
std::size_t shiftJisLength(Byte first, Byte) {
  return (first >= 0x81 && first <= 0x9F) || (first >= 0xE0 && first <= 0xFC) ? 2 : 1;
}
std::size_t eucJpLength(Byte first, Byte) {
  if (first == 0x8F) return 3;
  return first == 0x8E || (first >= 0xA1 && first <= 0xFE) ? 2 : 1;
}
std::size_t gb18030Length(Byte first, Byte second) {
  if (first < 0x81 || first > 0xFE) return 1;
  return second >= 0x30 && second <= 0x39 ? 4 : 2;
}
std::size_t doubleByteLength(Byte first, Byte) {
  return first >= 0x81 && first <= 0xFE ? 2 : 1;
}

struct Charset {
  std::string_view name;
  CharacterLength length;
};
constexpr Charset kCharsets[] = {
    {"utf-8", utf8Length},
    {"utf8", utf8Length},
    {"shift_jis", shiftJisLength},
    {"shift-jis", shiftJisLength},
    {"sjis", shiftJisLength},
    {"x-sjis", shiftJisLength},
    {"windows-31j", shiftJisLength},
    {"ms_kanji", shiftJisLength},
    {"euc-jp", eucJpLength},
    {"x-euc-jp", eucJpLength},
    {"gb18030", gb18030Length},
    {"gbk", gb18030Length},
    {"gb2312", gb18030Length},
    {"gb_2312-80", gb18030Length},
    {"x-gbk", gb18030Length},
    {"big5", doubleByteLength},
    {"big5-hkscs", doubleByteLength},
    {"cn-big5", doubleByteLength},
    {"euc-kr", doubleByteLength},
    {"ks_c_5601-1987", doubleByteLength},
    {"windows-949", doubleByteLength},
    {"korean", doubleByteLength},
};

// ISO-2022-JP and its kin: characters of two bytes between escape sequences.
bool shifts(std::string_view charset) {
  return charset.size() > 8 && equalsIgnoringCase(charset.substr(0, 8), "iso-2022");
}

std::size_t cutUtf16(std::string_view page, std::size_t limit, bool bigEndian) {
  limit -= limit % 2;
  if (limit < 2) return limit;
  const auto high = static_cast<Byte>(page[limit - (bigEndian ? 2 : 1)]);
  return high >= 0xD8 && high <= 0xDB ? limit - 2 : limit;  // the first half of a pair
}

}  // namespace

bool isUtf16(std::string_view charset) {
  constexpr std::string_view kNames[] = {"utf-16",          "utf-16le",    "utf-16be",
                                         "unicode",         "csunicode",   "ucs-2",
                                         "iso-10646-ucs-2", "unicodefeff", "unicodefffe"};
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [&](std::string_view name) { return equalsIgnoringCase(name, charset); });
}

std::string_view charsetForCutting(std::string_view page, std::string_view headerCharset) {
  if (page.substr(0, 3) == "\xEF\xBB\xBF") return "utf-8";
  if (page.substr(0, 2) == "\xFE\xFF") return "utf-16be";
  if (page.substr(0, 2) == "\xFF\xFE") return "utf-16le";
  if (!headerCharset.empty()) return headerCharset;
  constexpr std::string_view kName = "charset";
  const std::string_view head = page.substr(0, kDeclarationBytes);
  for (std::size_t at = 0; at + kName.size() < head.size(); ++at) {
    if (!equalsIgnoringCase(head.substr(at, kName.size()), kName)) continue;
    std::string_view rest = trimmed(head.substr(at + kName.size()));
    if (rest.empty() || rest[0] != '=') continue;
    rest = trimmed(rest.substr(1));
    if (!rest.empty() && (rest[0] == '"' || rest[0] == '\'')) rest.remove_prefix(1);
    const std::string_view name = rest.substr(0, rest.find_first_of("\"'; \t\r\n/>"));
    if (!name.empty()) return name;
  }
  return {};
}

std::size_t cutAtCharacter(std::string_view page, std::size_t limit, std::string_view charset) {
  if (page.size() <= limit) return page.size();
  if (isUtf16(charset))
    return cutUtf16(page, limit,
                    equalsIgnoringCase(charset, "utf-16be") || equalsIgnoringCase(charset, "unicodefffe"));
  const auto known = std::find_if(std::begin(kCharsets), std::end(kCharsets),
                                  [&](const Charset& one) { return equalsIgnoringCase(one.name, charset); });
  const bool shifting = shifts(charset);
  // Text of no known charset is UTF-8 more often than anything else, and its rule harms nothing else: the
  // bytes it may leave out are a few letters at most.
  const CharacterLength length = known != std::end(kCharsets) ? known->length : utf8Length;

  std::size_t at = limit;
  const std::size_t stop = limit > kLookBack ? limit - kLookBack : 0;
  while (at > stop && static_cast<Byte>(page[at - 1]) > 0x20) --at;
  if (shifting) {
    if (at > stop && page[at - 1] == '\x1B') --at;  // nor in the middle of what shifts
    return at > stop ? at : limit;
  }
  if (at == stop && stop > 0 && length == utf8Length)
    while (at < limit && (static_cast<Byte>(page[at]) & 0xC0) == 0x80) ++at;
  while (at < limit) {
    const auto first = static_cast<Byte>(page[at]);
    const std::size_t next = at + length(first, static_cast<Byte>(page[at + 1]));
    if (next > limit) break;
    at = next;
  }
  return at;
}

}  // namespace sifterra::icap
