// WFTreeHTMLStripper: finds the declared charset, parses, and keeps the document for its own life.
//
// There is one attempt: the page's declared charset or the parser's own detection decides. The canonical
// name goes to the parser, not the page's form of it, so that one spelling means one decoder.
#include "sifterra/page/WFTreeHTMLStripper.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "page/charset_declaration.h"
#include "page/parse_html.h"
#include "platform/CharacterSet.h"
#include "util/log.h"

namespace sifterra {

using platform::Data;
using platform::String;

namespace {

constexpr auto kOp = "-[WFTreeHTMLStripper initWithData:]";
constexpr std::size_t kLoggedBytes = 1024;  // of a page without a usable declaration

// The page's first bytes as text, to the first zero byte.
String loggedPage(std::string_view page) {
  const std::string_view shown = page.substr(0, kLoggedBytes);
  return String::fromUTF8Lossy(shown.substr(0, shown.find('\0')));
}

// The encoding that the parser is told, if any; logs when the page declares none that is known.
std::optional<EncodingName> detectEncoding(std::string_view page) {
  const std::optional<std::string_view> declared = declaredCharset(page);
  const std::optional<std::string> canonical =
      declared ? platform::canonicalIANACharacterSetName(*declared) : std::nullopt;
  if (!canonical) {
    logInfo("%s -- Couldn't get encoding for sourceData: %{public}s", kOp,
            [page] { return loggedPage(page); });
    return std::nullopt;
  }
  return encodingNameForParser(*canonical);
}

}  // namespace

void WFTreeHTMLStripper::FreeDocument::operator()(_xmlDoc* document) const noexcept {
  FreeHTML()(document);
}

std::shared_ptr<WFTreeHTMLStripper> WFTreeHTMLStripper::treeStripperWithData(const Data& data) {
  std::shared_ptr<WFTreeHTMLStripper> stripper(new WFTreeHTMLStripper);
  return stripper->initWithData(data) ? stripper : nullptr;
}

std::shared_ptr<WFTreeHTMLStripper> WFTreeHTMLStripper::treeStripperWithString(const String& string) {
  std::shared_ptr<WFTreeHTMLStripper> stripper(new WFTreeHTMLStripper);
  return stripper->initWithString(string) ? stripper : nullptr;
}

bool WFTreeHTMLStripper::initWithString(const String& string) {
  return initWithData(string ? Data(string.toUTF8()) : Data());
}

bool WFTreeHTMLStripper::initWithData(Data data) {
  if (data) {
    const std::optional<EncodingName> encoding = detectEncoding(data.chars());
    _document.reset(parseHTML(data.chars(), encoding ? encoding->data() : nullptr).release());
    if (!_document) logError("%s -- Error reading html data", kOp);
    data = nullptr;  // frees the bytes of a string before the walk, where memory is at its peak
  }
  return initWithXMLDocument(_document.get());
}

}  // namespace sifterra
