// WFJavascriptStripper: cuts a script into pieces at ";" and line feeds and keeps their quoted strings.
#include "sifterra/page/WFJavascriptStripper.h"

#include <string>
#include <utility>

#include "page/strip_markup.h"

namespace sifterra {

using platform::String;

namespace {

constexpr std::u16string_view kPieceEnds = u";\n";
constexpr std::u16string_view kDoubleQuote = u"\"";
constexpr std::u16string_view kSingleQuote = u"'";

// Calls `each` with every piece, empty ones included.
template <class Each>
void forEachPiece(std::u16string_view text, const Each& each) {
  for (;;) {
    const std::size_t end = text.find_first_of(kPieceEnds);
    each(text.substr(0, end));
    if (end == std::u16string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

void appendStringsOfPiece(std::u16string_view piece, std::u16string& out) {
  appendStringsBetween(piece, kDoubleQuote, out);
  appendStringsBetween(piece, kSingleQuote, out);
}

}  // namespace

String WFJavascriptStripper::stripJavascript(const String& script) {
  std::u16string strings;
  if (script.isNull()) return String(std::move(strings));
  const std::u16string text = textWithoutTags(script.view());
  forEachPiece(text, [&strings](std::u16string_view piece) {
    const std::size_t before = strings.size();
    appendStringsOfPiece(piece, strings);
    if (strings.size() > before) strings.push_back(u'\n');
  });
  return String(std::move(strings));
}

std::vector<String> WFJavascriptStripper::getJavascriptLines(const String& script) {
  std::vector<String> lines;
  if (script.isNull()) return lines;
  forEachPiece(script.view(), [&lines](std::u16string_view piece) { lines.emplace_back(piece); });
  return lines;
}

String WFJavascriptStripper::javascriptStripLine(const String& line) {
  std::u16string strings;
  appendStringsOfPiece(line.view(), strings);
  return String(std::move(strings));
}

String WFJavascriptStripper::getStringsFromLine(const String& line, const String& withTokenCharacter) {
  std::u16string strings;
  appendStringsBetween(line.view(), withTokenCharacter.view(), strings);
  return String(std::move(strings));
}

}  // namespace sifterra
