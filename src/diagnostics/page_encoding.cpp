// page_encoding: of the encodings in the table the detector knows only UTF-8 by sight (four bytes are all
// that it looks at). The others are here for a parser that sees more.
#include "diagnostics/page_encoding.h"

#include <libxml/encoding.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "platform/CharacterSet.h"
#include "util/log.h"

namespace sifterra {

namespace {

using platform::Data;
using platform::String;

struct NamedEncoding {
  int number;
  const char* name;
};
constexpr NamedEncoding kNamed[] = {{XML_CHAR_ENCODING_8859_1, "ISO-8859-1"},
                                    {XML_CHAR_ENCODING_8859_2, "ISO-8859-2"},
                                    {XML_CHAR_ENCODING_SHIFT_JIS, "Shift_JIS"},
                                    {XML_CHAR_ENCODING_EUC_JP, "EUC-JP"}};

String decodedAsASCII(std::string_view bytes) {
  const bool ascii = std::all_of(bytes.begin(), bytes.end(),
                                 [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
  return ascii ? String::fromUTF8(bytes) : String();
}

String decodedBy(std::string_view bytes, const char* name) {
  std::optional<std::u16string> text = platform::decodeBytes(bytes, name);
  return text ? String(std::move(*text)) : String();
}

}  // namespace

int guessEncodingForData(const Data& page) {
  constexpr auto kOp = "GuessEncodingForData";
  const std::string_view bytes = page.chars();
  logInfo("%s -- GuessEncodingForData: %p", kOp, reinterpret_cast<std::uintptr_t>(bytes.data()));
  const auto length = static_cast<int>(std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max()));
  return xmlDetectCharEncoding(reinterpret_cast<const unsigned char*>(bytes.data()), length);
}

String decodedByGuess(const char* op, const Data& page, int encoding) {
  const auto* const named = std::find_if(std::begin(kNamed), std::end(kNamed),
                                         [&](const NamedEncoding& one) { return one.number == encoding; });
  const bool known =
      named != std::end(kNamed) || encoding == XML_CHAR_ENCODING_UTF8 || encoding == XML_CHAR_ENCODING_ASCII;
  if (!known) logInfo("%s -- Unknown page encoding: %d", op, encoding);
  if (page && named != std::end(kNamed)) return decodedBy(page.chars(), named->name);
  if (page && encoding == XML_CHAR_ENCODING_ASCII) return decodedAsASCII(page.chars());
  String text = page ? String::fromUTF8(page.chars()) : String();
  if (text) return text;
  logInfo("%s -- UTF-8 did not work, trying ISO Latin-1", op);
  return page ? platform::stringFromISO88591(page.chars()) : String();
}

}  // namespace sifterra
