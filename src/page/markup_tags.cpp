// markup_tags: the tag grammar of libxml2's HTML parser, one function a production.
#include "page/markup_tags.h"

#include <algorithm>

#include "util/unit_search.h"

namespace sifterra {

namespace {

std::size_t skipBlanks(std::u16string_view text, std::size_t at) noexcept {
  while (at < text.size() && isMarkupBlank(text[at])) ++at;
  return at;
}

bool atTagEnd(std::u16string_view text, std::size_t at) noexcept {
  return at >= text.size() || text[at] == u'>' ||
         (text[at] == u'/' && at + 1 < text.size() && text[at + 1] == u'>');
}

// Past a value that starts at `at`: to the matching quote, or to a blank or '>' when it has none.
std::size_t endOfValue(std::u16string_view text, std::size_t at) noexcept {
  if (at >= text.size()) return at;
  if (text[at] == u'"' || text[at] == u'\'') {
    const std::size_t close = text.find(text[at], at + 1);
    return close == std::u16string_view::npos ? text.size() : close + 1;
  }
  while (at < text.size() && text[at] != u'>' && !isMarkupBlank(text[at])) ++at;
  return at;
}

}  // namespace

std::size_t endOfName(std::u16string_view text, std::size_t at) noexcept {
  if (at >= text.size() || !isNameStart(text[at])) return at;
  const std::size_t limit = std::min(text.size(), at + kLongestParsedName);
  while (at < limit && isNameUnit(text[at])) ++at;
  return at;
}

// Whatever is in doubt is left to the others: this is for the tags of which pages are full.
bool parsePlainStartTag(std::u16string_view text, std::size_t at, TagSpan& tag) noexcept {
  const std::size_t size = text.size();
  const auto endOfPlainName = [&](std::size_t from) {
    std::size_t end = from;
    while (end < size && isNameUnit(text[end])) ++end;
    return end - from < kLongestParsedName ? end : from;
  };
  tag = {at + 1, endOfPlainName(at + 1), size, 0, false};
  at = tag.nameEnd;
  if (at == tag.nameBegin) return false;
  while (at < size) {
    const bool parted = isMarkupBlank(text[at]);
    at = skipBlanks(text, at);
    if (atTagEnd(text, at)) {
      if (at >= size) return false;
      tag.selfClosing = text[at] == u'/';
      tag.end = at + (tag.selfClosing ? 2 : 1);
      return true;
    }
    const std::size_t nameEnd = endOfPlainName(at);
    if (!parted || nameEnd == at || !isNameStart(text[at])) return false;
    ++tag.attributes;
    at = nameEnd;
    const std::size_t sign = skipBlanks(text, at);
    if (sign >= size) return false;
    if (text[sign] != u'=') {
      if (sign == at && !atTagEnd(text, at)) return false;
      continue;
    }
    const std::size_t value = skipBlanks(text, sign + 1);
    if (value >= size) return false;
    if (text[value] == u'"' || text[value] == u'\'') {
      const std::size_t close = findUnit(text, text[value], value + 1);
      if (close == std::u16string_view::npos) return false;
      at = close + 1;
    } else {
      at = value;
      while (at < size && text[at] != u'>' && !isMarkupBlank(text[at])) ++at;
    }
  }
  return false;
}

bool nextAttribute(std::u16string_view text, std::size_t& at, AttributeSpan& attribute) noexcept {
  for (at = skipBlanks(text, at); !atTagEnd(text, at); at = skipBlanks(text, at)) {
    const std::size_t nameEnd = endOfName(text, at);
    if (nameEnd == at) {  // junk: dumped up to the next blank or the end of the tag
      while (!atTagEnd(text, at) && !isMarkupBlank(text[at])) ++at;
      continue;
    }
    attribute = {at, nameEnd, nameEnd};
    const std::size_t sign = skipBlanks(text, nameEnd);
    if (sign < text.size() && text[sign] == u'=') {
      attribute.end = endOfValue(text, skipBlanks(text, sign + 1));
      at = attribute.end;
    } else {
      at = sign;
    }
    return true;
  }
  return false;
}

TagSpan parseStartTag(std::u16string_view text, std::size_t at) noexcept {
  TagSpan tag{at + 1, endOfName(text, at + 1), text.size(), 0, false};
  std::size_t position = tag.nameEnd;
  AttributeSpan attribute{};
  while (nextAttribute(text, position, attribute)) ++tag.attributes;
  if (position >= text.size()) return tag;
  tag.selfClosing = text[position] == u'/';
  tag.end = position + (tag.selfClosing ? 2 : 1);
  return tag;
}

std::size_t modelAttribute(std::u16string_view name) noexcept {
  const auto* found = std::ranges::find_if(kModelAttributes, [name](std::u16string_view known) {
    return known.size() == name.size() && startsWithIgnoringAsciiCase(name, 0, known);
  });
  return static_cast<std::size_t>(found - kModelAttributes.begin());
}

bool startsWithIgnoringAsciiCase(std::u16string_view text, std::size_t at,
                                 std::u16string_view word) noexcept {
  if (at > text.size() || text.size() - at < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (asciiLower(text[at + i]) != word[i]) return false;
  }
  return true;
}

}  // namespace sifterra
