// foreign_content: counts of open elements, and the HTML elements that end a drawing.
#include "page/foreign_content.h"

#include <algorithm>

#include "page/markup_tags.h"

namespace sifterra {

namespace {

constexpr std::u16string_view kIntegrationPoints[] = {
    u"annotation-xml", u"desc", u"foreignobject", u"mi", u"mn", u"mo", u"ms", u"mtext", u"title"};

// HTML elements that cannot stand in a drawing: their start tags close it.
constexpr std::u16string_view kBreakouts[] = {
    u"b",      u"big",   u"blockquote", u"body",  u"br",      u"center", u"code", u"dd",   u"div",
    u"dl",     u"dt",    u"em",         u"embed", u"h1",      u"h2",     u"h3",   u"h4",   u"h5",
    u"h6",     u"head",  u"hr",         u"i",     u"img",     u"li",     u"menu", u"meta", u"nobr",
    u"ol",     u"p",     u"pre",        u"ruby",  u"s",       u"small",  u"span", u"sub",  u"sup",
    u"strong", u"table", u"strike",     u"tt",    u"listing", u"u",      u"ul",   u"var"};

bool isName(std::u16string_view name, std::u16string_view word) {
  return name.size() == word.size() && startsWithIgnoringAsciiCase(name, 0, word);
}

template <std::size_t N>
bool isOneOf(std::u16string_view name, const std::u16string_view (&words)[N]) {
  return std::ranges::any_of(words, [&](std::u16string_view word) { return isName(name, word); });
}

bool isDrawing(std::u16string_view name) {
  return isName(name, u"svg") || isName(name, u"math");
}

}  // namespace

void ForeignContent::startTag(std::u16string_view name, bool selfClosing) {
  if (isDrawing(name)) {
    if (!selfClosing) ++drawings_;
    return;
  }
  if (drawings_ == 0 || doubtful_) return;
  if (isOneOf(name, kIntegrationPoints)) {
    if (!selfClosing) ++integration_;
  } else if (isOneOf(name, kBreakouts)) {
    doubtful_ = integration_ > 0;
    if (!doubtful_) drawings_ = 0;
  }
}

void ForeignContent::endTag(std::u16string_view name) {
  if (drawings_ == 0 || doubtful_) return;
  if (integration_ > 0) {
    if (isOneOf(name, kIntegrationPoints)) --integration_;
  } else if (isDrawing(name)) {
    --drawings_;
  }
}

}  // namespace sifterra
