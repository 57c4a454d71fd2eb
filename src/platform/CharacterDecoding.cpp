// CharacterDecoding: bytes to text through ICU's converters, and guessing which one.
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucsdet.h>

#include <algorithm>
#include <array>
#include <memory>

#include "platform/CharacterSet.h"
#include "platform/Unicode.h"
#include "platform/icu_data.h"

namespace sifterra::platform {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

struct ConverterName {
  std::string_view encoding;
  const char* converter;
};

// What browsers decode for these names is wider than what ICU takes them for, or goes by another name.
constexpr ConverterName kConverters[] = {
    {"Big5", "ibm-1375_P100-2008"},
    {"EUC-KR", "windows-949-2000"},
    {"GB2312", "gb18030"},
    {"GBK", "gb18030"},
    {"KS_C_5601-1987", "windows-949-2000"},
    {"Shift_JIS", "ibm-943_P15A-2003"},
    {"Windows-31J", "ibm-943_P15A-2003"},
    {"windows-874", "windows-874-2000"},
    {"x-mac-cyrillic", "macos-7_3-10.2"},
};

const char* converterName(const std::string& encoding) {
  for (const ConverterName& row : kConverters) {
    if (row.encoding == encoding) return row.converter;
  }
  return encoding.c_str();
}

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

// ICU's own replacement is U+001A for some single bytes.
void replaceMalformed(const void* /*context*/, UConverterToUnicodeArgs* arguments, const char* /*bytes*/,
                      std::int32_t /*length*/, UConverterCallbackReason reason, UErrorCode* error) {
  if (reason > UCNV_IRREGULAR) return;  // only told of a reset, an end or a copy
  *error = U_ZERO_ERROR;
  ucnv_cbToUWriteUChars(arguments, &kReplacement, 1, 0, error);
}

Converter openConverter(const std::string& encoding) {
  UErrorCode error = U_ZERO_ERROR;
  // No empty name: ICU would take the process's locale.
  if (encoding.empty() || encoding.find('\0') != std::string::npos) return {nullptr, &ucnv_close};
  Converter converter(ucnv_open(converterName(encoding), &error), &ucnv_close);
  if (U_FAILURE(error)) return {nullptr, &ucnv_close};
  ucnv_setToUCallBack(converter.get(), &replaceMalformed, nullptr, nullptr, nullptr, &error);
  return U_SUCCESS(error) ? std::move(converter) : Converter(nullptr, &ucnv_close);
}

std::optional<std::u16string> convert(UConverter* converter, std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  std::array<char16_t, 4096> units;
  const char* from = bytes.data();
  const char* const end = from + bytes.size();
  for (UErrorCode error = U_BUFFER_OVERFLOW_ERROR; error == U_BUFFER_OVERFLOW_ERROR;) {
    error = U_ZERO_ERROR;
    char16_t* to = units.data();
    ucnv_toUnicode(converter, &to, units.data() + units.size(), &from, end, nullptr, true, &error);
    text.append(units.data(), to);
    if (U_FAILURE(error) && error != U_BUFFER_OVERFLOW_ERROR) return std::nullopt;
  }
  return text;
}

// ICU has these two with three controls in the places that early terminals gave them.
bool movesControls(const std::string& encoding) {
  return encoding == "Shift_JIS" || encoding == "Windows-31J" || encoding == "IBM866";
}

void moveControlsBack(std::u16string& text) {
  for (char16_t& unit : text) {
    if (unit == 0x1A) {
      unit = 0x7F;
    } else if (unit == 0x1C) {
      unit = 0x1A;
    } else if (unit == 0x7F) {
      unit = 0x1C;
    }
  }
}

template <class CharacterOfByte>
std::u16string mapBytes(std::string_view bytes, CharacterOfByte characterOfByte) {
  std::u16string text(bytes.size(), u'\0');
  std::transform(bytes.begin(), bytes.end(), text.begin(),
                 [&](char byte) { return characterOfByte(static_cast<unsigned char>(byte)); });
  return text;
}

char16_t userDefined(unsigned char byte) {
  return static_cast<char16_t>(byte < 0x80 ? byte : 0xF700 + byte);
}

// ICU has no converter for ISO-8859-16, which is ISO-8859-1 but for these.
char16_t iso885916(unsigned char byte) {
  constexpr struct {
    unsigned char byte;
    char16_t character;
  } kDifferent[] = {
      {0xA1, 0x0104}, {0xA2, 0x0105}, {0xA3, 0x0141}, {0xA4, 0x20AC}, {0xA5, 0x201E}, {0xA6, 0x0160},
      {0xA8, 0x0161}, {0xAA, 0x0218}, {0xAC, 0x0179}, {0xAE, 0x017A}, {0xAF, 0x017B}, {0xB2, 0x010C},
      {0xB3, 0x0142}, {0xB4, 0x017D}, {0xB5, 0x201D}, {0xB8, 0x017E}, {0xB9, 0x010D}, {0xBA, 0x0219},
      {0xBC, 0x0152}, {0xBD, 0x0153}, {0xBE, 0x0178}, {0xBF, 0x017C}, {0xC3, 0x0102}, {0xC5, 0x0106},
      {0xD0, 0x0110}, {0xD1, 0x0143}, {0xD5, 0x0150}, {0xD7, 0x015A}, {0xD8, 0x0170}, {0xDD, 0x0118},
      {0xDE, 0x021A}, {0xE3, 0x0103}, {0xE5, 0x0107}, {0xF0, 0x0111}, {0xF1, 0x0144}, {0xF5, 0x0151},
      {0xF7, 0x015B}, {0xF8, 0x0171}, {0xFD, 0x0119}, {0xFE, 0x021B},
  };
  for (const auto& row : kDifferent) {
    if (row.byte == byte) return row.character;
  }
  return byte;
}

// What browsers do not decode, or decode to nothing.
bool isTakenByBrowsers(std::string_view guess) {
  const std::optional<std::string> encoding = webEncodingForLabel(guess);
  return encoding && *encoding != "replacement";
}

}  // namespace

std::optional<std::u16string> decodeBytes(std::string_view bytes, const std::string& encoding) {
  if (encoding == "UTF-8") return utf16FromUTF8Lossy(bytes);
  if (encoding == "replacement") return std::u16string(bytes.empty() ? 0 : 1, kReplacement);
  if (encoding == "x-user-defined") return mapBytes(bytes, userDefined);
  if (encoding == "ISO-8859-16") return mapBytes(bytes, iso885916);
  const Converter converter = openConverter(encoding);
  if (!converter) return std::nullopt;
  std::optional<std::u16string> text = convert(converter.get(), bytes);
  if (text && movesControls(encoding)) moveControlsBack(*text);
  return text;
}

std::optional<std::string> detectEncoding(std::string_view bytes, int minimumConfidence) {
  constexpr std::size_t kLookedAt = 1024 * 1024;  // ICU itself counts characters in the first 8 KB
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&error),
                                                                            &ucsdet_close);
  const std::string_view sample = bytes.substr(0, kLookedAt);
  ucsdet_enableInputFilter(detector.get(), true);
  ucsdet_setText(detector.get(), sample.data(), static_cast<std::int32_t>(sample.size()), &error);
  std::int32_t count = 0;
  const UCharsetMatch** matches = ucsdet_detectAll(detector.get(), &count, &error);
  if (U_FAILURE(error)) return std::nullopt;
  for (std::int32_t i = 0; i < count; ++i) {  // the surest first
    const std::int32_t confidence = ucsdet_getConfidence(matches[i], &error);
    const char* name = ucsdet_getName(matches[i], &error);
    if (U_FAILURE(error) || confidence < minimumConfidence) return std::nullopt;
    if (isTakenByBrowsers(name)) return name;
  }
  return std::nullopt;
}

String stringFromISO88591(std::string_view bytes) {
  return String(mapBytes(bytes, [](unsigned char byte) { return static_cast<char16_t>(byte); }));
}

}  // namespace sifterra::platform
