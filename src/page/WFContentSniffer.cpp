// WFContentSniffer: a fixed order of tests, each by a signature.
#include "sifterra/page/WFContentSniffer.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/Unicode.h"
#include "util/string_helpers.h"

namespace sifterra {

namespace {

using platform::Data;
using platform::String;
using namespace std::string_view_literals;

constexpr std::u16string_view kXML = u"application/xml";
constexpr std::u16string_view kXHTML = u"application/xhtml+xml";
constexpr std::u16string_view kHTML = u"text/html";
constexpr std::u16string_view kGIF = u"image/gif";
constexpr std::u16string_view kJPEG = u"image/jpeg";
constexpr std::u16string_view kPDF = u"application/pdf";
constexpr std::u16string_view kPNG = u"image/png";
constexpr std::u16string_view kSWF = u"application/x-shockwave-flash";
constexpr std::u16string_view kWord = u"application/msword";
constexpr std::u16string_view kPlain = u"text/plain";

// The signature of a Word document stands in the sector behind the 512 bytes of the file's header.
// Kept: four bytes into that sector, where few documents have it. Clients know the type by this place.
constexpr std::size_t kWordOffset = 516;

// Each byte above 127 becomes one replacement character, so that the text of an image exists too and the
// tests by its bytes are reached.
String decodedASCII(std::string_view bytes) {
  std::u16string text(bytes.size(), u'\0');
  std::transform(bytes.begin(), bytes.end(), text.begin(), [](char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x80 ? static_cast<char16_t>(value) : u'\uFFFD';
  });
  return String(std::move(text));
}

// No data for text that is not all ASCII.
Data encodedASCII(const String& text) {
  if (!text || !platform::isASCII(text.view())) return nullptr;
  return Data(text.toUTF8());
}

bool containsInAnyCase(const String& text, std::u16string_view word) {
  return containsString(text.view(), word, SearchOptions::CaseInsensitive);
}

bool isControl(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  // Kept: 12, 13 and 27 count although texts hold them, 0 does not although they never should.
  return (value >= 1 && value <= 8) || (value >= 11 && value <= 31) || value == 127;
}

}  // namespace

String WFContentSniffer::MIMETypeForData(const Data& data) {
  return MIMETypeForData(data, data ? decodedASCII(data.chars().substr(0, kTextBytes)) : String());
}

String WFContentSniffer::MIMETypeForString(const String& string) {
  return MIMETypeForData(encodedASCII(string), string);
}

String WFContentSniffer::MIMETypeForData(const Data& data, const String& andString) {
  if (!data || !andString) return nullptr;
  if (isXML(andString)) return String(isXHTML(andString) ? kXHTML : kXML);
  if (isHTML(andString)) return String(kHTML);
  if (isGIF(andString)) return String(kGIF);
  if (isJPEG(data)) return String(kJPEG);
  if (isPDF(andString)) return String(kPDF);
  if (isPNG(data)) return String(kPNG);
  if (isSWF(andString)) return String(kSWF);
  if (isWord(data)) return String(kWord);
  return String(kPlain);
}

bool WFContentSniffer::MIMETypeIsHTMLOrText(const String& MIMEType) {
  const std::u16string_view type = MIMEType.view();
  return type == kHTML || type == kXHTML || type == kPlain;
}

bool WFContentSniffer::isXML(const String& text) {
  return containsString(text.view(), u"<?xml");
}

bool WFContentSniffer::isXHTML(const String& text) {
  return isHTML(text) && containsInAnyCase(text, u"xmlns");
}

bool WFContentSniffer::isHTML(const String& text) {
  return containsInAnyCase(text, u"<html") || containsInAnyCase(text, u"</html");
}

bool WFContentSniffer::isGIF(const String& text) {
  return text.view().starts_with(u"GIF87a") || text.view().starts_with(u"GIF89a");
}

bool WFContentSniffer::isPDF(const String& text) {
  return text.view().starts_with(u"%PDF");
}

bool WFContentSniffer::isSWF(const String& text) {
  return text.view().starts_with(u"FWS") || text.view().starts_with(u"CWS");
}

bool WFContentSniffer::isJPEG(const Data& data) {
  return data.chars().starts_with("\xFF\xD8\xFF"sv);
}

bool WFContentSniffer::isPNG(const Data& data) {
  return data.chars().starts_with("\x89PNG\r\n\x1A\n"sv);
}

bool WFContentSniffer::isWord(const Data& data) {
  if (data.length() < kWordOffset) return false;
  return data.chars().substr(kWordOffset).starts_with("\xEC\xA5\xC1\0"sv);
}

bool WFContentSniffer::isOctetStream(const Data& data) {
  const std::string_view bytes = data.chars();
  return std::any_of(bytes.begin(), bytes.end(), isControl);
}

}  // namespace sifterra
