// Content sniffer: any bytes have the type that the plain table gives them, and text that is all ASCII the
// one of its bytes when it is short enough to be looked at whole.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "reference/plain_sniffer.h"
#include "sifterra/page/WFContentSniffer.h"

namespace {

using namespace sifterra;

void check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exact copy on the heap, so that a read past the end is seen.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string text = bytes.substr(0, WFContentSniffer::kTextBytes);
  const platform::String type = WFContentSniffer::MIMETypeForData(platform::Data(bytes));
  check(type.toUTF8() == reference::sniffed(bytes, text));
  check(WFContentSniffer::MIMETypeIsHTMLOrText(type) ==
        (type == platform::String(u"text/html") || type == platform::String(u"text/plain") ||
         type == platform::String(u"application/xhtml+xml")));

  const platform::String string = platform::String::fromUTF8(bytes);
  const platform::String stringType = WFContentSniffer::MIMETypeForString(string);
  const bool ascii = !string.isNull() && string.length() == bytes.size();
  check(stringType.isNull() == !ascii);
  if (ascii) check(stringType.toUTF8() == reference::sniffed(bytes, bytes));
  return 0;
}
