#include "diagnostics/debug_page_header.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/FileSystem.h"
#include "util/log.h"
#include "util/string_helpers.h"

namespace sifterra {

namespace {

using platform::String;

constexpr auto kOp = "ComposeDebugPage";
constexpr std::string_view kTemplatePath =
    "/Library/Application Support/Vendrel/Wardenry/ContentFiltering/debugpageheader.html";
constexpr std::size_t kMostTemplateBytes = std::size_t{1} << 20;

// Lines of text as lines of HTML; null of null.
String linesInHTML(const String& text) {
  return stringByReplacingString(text, String(u"\n"), String(u"<br>\n"));
}

String spacesInHTML(const String& text) {
  return text ? String(stringByConvertingSpacesInHTMLSpaces(text.view())) : String();
}

std::size_t countOf(std::u16string_view text, std::u16string_view word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::u16string_view::npos;
       at = text.find(word, at + word.size()))
    ++count;
  return count;
}

// A text that is filled in step by step, until it would grow too large: then it is null.
class Filling {
 public:
  explicit Filling(const String& text) : text_(text) {}

  void replace(std::u16string_view placeholder, const String& value) {
    if (!text_) return;
    const std::size_t grown = countOf(text_.view(), placeholder) * value.length();
    if (text_.length() + grown > kMostHeaderUnits) {
      logError("%s -- The header would exceed %zu characters", kOp, kMostHeaderUnits);
      text_ = nullptr;
      return;
    }
    text_ = stringByReplacingString(text_, String(placeholder), value);
  }
  [[nodiscard]] const String& text() const noexcept { return text_; }

 private:
  String text_;
};

}  // namespace

String debugPageTemplate() {
  const std::optional<std::string> bytes =
      platform::readFile(platform::systemPath(kTemplatePath), kMostTemplateBytes);
  String text = bytes ? String::fromUTF8(*bytes) : String();
  if (!text) logInfo("%s -- The header template can't be read, no header is shown", kOp);
  return text;
}

String orErrorText(const String& converted, std::u16string_view errorText) {
  return converted ? converted : String(errorText);
}

String debugPageHeader(const String& pageTemplate, const DebugPageFacts& facts) {
  Filling header(pageTemplate);
  header.replace(u"DEBUG_MESSAGE", orErrorText(spacesInHTML(facts.debugMessage), u""));
  if (facts.strippedPage) {
    header.replace(u"STRIPPED_PAGE", orErrorText(linesInHTML(facts.strippedPage), kNoStrippedPage));
  }
  if (facts.wordDump) {
    header.replace(u"WORD_DUMP", orErrorText(linesInHTML(spacesInHTML(facts.wordDump)), kNoWordDump));
  }
  header.replace(u"FILTER_FLAG_COLOR", String(facts.restricted ? u"red" : u"green"));
  header.replace(u"FILTER_MESSAGE", String(facts.restricted ? u"Restricted" : u"Allowed"));
  return header.text();
}

}  // namespace sifterra
