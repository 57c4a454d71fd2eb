// foreign_content: the open elements of a drawing, and the HTML elements that end it.
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
  return std::ranges::equal(name, word, {}, asciiLower, asciiLower);
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
  if (holdsHtml_ || (open_.empty() && !isDrawing(name))) return;
  if (isOneOf(name, kBreakouts)) {
    holdsHtml_ = integration_ > 0;
    if (!holdsHtml_) open_.clear();
    doubtful_ = false;
    return;
  }
  if (isName(name, u"font")) doubtful_ = true;  // closes the drawing when it has a colour, face or size
  if (selfClosing) return;
  open_.push_back(name);
  if (isOneOf(name, kIntegrationPoints)) ++integration_;
}

void ForeignContent::pop() {
  if (isOneOf(open_.back(), kIntegrationPoints)) --integration_;
  open_.pop_back();
  if (open_.empty()) doubtful_ = false;
}

void ForeignContent::endTag(std::u16string_view name) {
  if (open_.empty() || holdsHtml_) return;
  const auto isNamed = [name](std::u16string_view other) { return isName(name, other); };
  if (isNamed(open_.back())) {
    pop();
    return;
  }
  // What lies around the drawing may be closed by it, and the drawing with it. Where HTML may stand in
  // between, it may close nothing at all.
  if (integration_ > 0 || std::ranges::none_of(open_, isNamed)) {
    doubtful_ = true;
    return;
  }
  while (!isNamed(open_.back())) pop();
  pop();
}

}  // namespace sifterra
