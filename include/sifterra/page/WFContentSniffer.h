// WFContentSniffer: the MIME type of a response body, from its first bytes.
//
//   const platform::String type = WFContentSniffer::MIMETypeForData(body);
//   if (WFContentSniffer::MIMETypeIsHTMLOrText(type)) judge(body);
//
// For programs that hand pages to the judge; nothing in the library calls it. All operations are pure.
#pragma once

#include <cstddef>

#include "sifterra/platform/Data.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class WF_API WFContentSniffer {
 public:
  static constexpr std::size_t kTextBytes = 1024;  // of the data; what the tests of the text look at

  // One of "application/xml", "application/xhtml+xml", "text/html", "image/gif", "image/jpeg",
  // "application/pdf", "image/png", "application/x-shockwave-flash", "application/msword" and, for all else,
  // "text/plain". Null for null.
  [[nodiscard]] static platform::String MIMETypeForData(const platform::Data& data);
  // The same for text, all of which is looked at. Null also when it is not all ASCII.
  [[nodiscard]] static platform::String MIMETypeForString(const platform::String& string);
  // Exactly "text/html", "application/xhtml+xml" or "text/plain".
  [[nodiscard]] static bool MIMETypeIsHTMLOrText(const platform::String& MIMEType);

  // The type of a body whose beginning, or all of it, reads as the text.
  [[nodiscard]] static platform::String MIMETypeForData(const platform::Data& data,
                                                        const platform::String& andString);

  // The single tests. By the text:
  [[nodiscard]] static bool isXML(const platform::String& text);  // "<?xml" anywhere
  [[nodiscard]] static bool isXHTML(
      const platform::String& text);  // isHTML, and "xmlns" anywhere, in any case
  [[nodiscard]] static bool isHTML(
      const platform::String& text);  // "<html" or "</html" anywhere, in any case
  [[nodiscard]] static bool isGIF(const platform::String& text);
  [[nodiscard]] static bool isPDF(const platform::String& text);
  [[nodiscard]] static bool isSWF(const platform::String& text);
  // By the bytes:
  [[nodiscard]] static bool isJPEG(const platform::Data& data);
  [[nodiscard]] static bool isPNG(const platform::Data& data);
  [[nodiscard]] static bool isWord(const platform::Data& data);
  // Whether a byte is 1 to 8, 11 to 31 or 127. Decides no MIME type: there is none for any binary data.
  [[nodiscard]] static bool isOctetStream(const platform::Data& data);
};

}  // namespace sifterra
