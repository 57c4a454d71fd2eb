// CharacterSet: ICU's converters and alias table.
#include "platform/CharacterSet.h"

#include <unicode/ucnv.h>
#include <unicode/ucsdet.h>

#include <strings.h>

namespace sifterra::platform {
std::optional<std::string> canonicalIANACharacterSetName(std::string_view name) {
  const std::string wanted(name);
  for (std::int32_t i = 0; i < ucnv_countAvailable(); ++i) {
    UErrorCode error = U_ZERO_ERROR;
    const char* converter = ucnv_getAvailableName(i);
    UEnumeration* names = ucnv_openStandardNames(converter, "IANA", &error);
    if (U_FAILURE(error)) continue;
    bool found = false;
    while (const char* alias = uenum_next(names, nullptr, &error))
      found |= strcasecmp(alias, wanted.c_str()) == 0;
    uenum_close(names);
    if (!found) continue;
    error = U_ZERO_ERROR;
    const char* canonical = ucnv_getStandardName(converter, "MIME", &error);
    if (canonical == nullptr) {
      error = U_ZERO_ERROR;
      canonical = ucnv_getStandardName(converter, "IANA", &error);
    }
    if (canonical != nullptr) return canonical;
  }
  return std::nullopt;
}
std::optional<std::string> webEncodingForLabel(std::string_view label) {
  UErrorCode error = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(std::string(label).c_str(), &error);
  if (U_FAILURE(error)) return std::nullopt;
  const char* name = ucnv_getName(converter, &error);
  std::string result = name;
  ucnv_close(converter);
  return result;
}
std::optional<std::u16string> decodeBytes(std::string_view bytes, const std::string& encoding) {
  UErrorCode error = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(encoding.c_str(), &error);
  if (U_FAILURE(error)) return std::nullopt;
  std::u16string units(bytes.size() * 2 + 16, u'\0');
  const auto length = ucnv_toUChars(converter, units.data(), static_cast<std::int32_t>(units.size()),
                                    bytes.data(), static_cast<std::int32_t>(bytes.size()), &error);
  ucnv_close(converter);
  if (U_FAILURE(error)) return std::nullopt;
  units.resize(static_cast<std::size_t>(length));
  return units;
}
std::optional<std::string> detectEncoding(std::string_view bytes, int minimumConfidence) {
  UErrorCode error = U_ZERO_ERROR;
  UCharsetDetector* detector = ucsdet_open(&error);
  std::optional<std::string> result;
  ucsdet_setText(detector, bytes.data(), static_cast<std::int32_t>(bytes.size()), &error);
  if (const UCharsetMatch* match = ucsdet_detect(detector, &error)) {
    if (ucsdet_getConfidence(match, &error) >= minimumConfidence) result = ucsdet_getName(match, &error);
  }
  ucsdet_close(detector);
  return result;
}
String stringFromISO88591(std::string_view bytes) {
  std::u16string units;
  for (const char c : bytes) units += static_cast<unsigned char>(c);
  return String(std::move(units));
}
}  // namespace sifterra::platform
