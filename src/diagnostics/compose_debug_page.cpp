#include "diagnostics/compose_debug_page.h"

#include <memory>
#include <string>
#include <utility>

#include "diagnostics/page_encoding.h"
#include "platform/Unicode.h"
#include "sifterra/classifier/WFLSMMap.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/sifterra.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "util/log.h"
#include "util/string_helpers.h"

namespace sifterra {

namespace {

using platform::Data;
using platform::String;
using platform::URL;

constexpr std::int32_t kLevelWithoutSources = 2;

// Kept: mixed-case spellings stay, and so do the ones of the page's words: whoever sets this level wants the
// images of a restricted page not to load, and the rest as it is.
String withoutSources(const String& page) {
  const String off(u"OFF");
  return stringByReplacingString(stringByReplacingString(page, String(u"src"), off), String(u"SRC"), off);
}

// IndexOfBody: where the body tag begins; npos when there is none.
std::size_t indexOfBody(std::u16string_view page) {
  constexpr auto kOp = "IndexOfBody";
  const std::size_t body = platform::findIgnoringCase(page, u"<body");
  if (body != std::u16string_view::npos) logInfo("%s -- IndexOfBody found body at index: %lu", kOp, body);
  return body;
}

// InjectPage: the header behind the page's body tag.
String injectPage(const String& page, const String& header) {
  constexpr auto kOp = "InjectPage";
  if (!page) {
    logError("%s -- **** Error Trying to inject code into a null page", kOp);
    return nullptr;
  }
  const std::u16string_view text = page.view();
  const std::size_t body = indexOfBody(text);
  const std::size_t end = body == std::u16string_view::npos ? body : text.find(u'>', body);
  if (end == std::u16string_view::npos) {
    logError("%s -- Body can't be found, no injection can be made", kOp);
    return page;
  }
  if (!header) return page;
  std::u16string injected;
  injected.reserve(text.size() + header.length());
  injected.append(text.substr(0, end + 1)).append(header.view()).append(text.substr(end + 1));
  return String(std::move(injected));
}

String wordDumpOf(const String& text) {
  const std::shared_ptr<WFLSMMap> map = WFLSMMap::mapFromFilePath(WFJudge::defaultLSMMapPath());
  return map ? map->wordDump(text) : String();
}

}  // namespace

String composeDebugPage(const Data& page, const URL& url, const DebugPageFacts& facts) {
  constexpr auto kOp = "ComposeDebugPage";
  logDebug("%s -- Composing debug page for: %{public}@", kOp, [&] { return url.absoluteString(); });
  String text = decodedByGuess(kOp, page, guessEncodingForData(page));
  if (WFDebugLevel() == kLevelWithoutSources && facts.restricted) text = withoutSources(text);
  return injectPage(text, debugPageHeader(debugPageTemplate(), facts));
}

Data composeDebugPageSimple(const Data& page, const URL& url, const String& debugMessage) {
  const String text = page ? String::fromUTF8(page.chars()) : String();
  const auto decorator = WFWebPageToFilterText::webPageWithString(text, url.absoluteString());
  DebugPageFacts facts;
  facts.strippedPage = decorator->pageContent();
  facts.wordDump = wordDumpOf(facts.strippedPage);
  facts.debugMessage = debugMessage;
  facts.restricted = true;
  const String composed = composeDebugPage(page, url, facts);
  return composed ? Data(composed.toUTF8()) : Data();
}

}  // namespace sifterra
