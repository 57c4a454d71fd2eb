// tag_as_browsers_read: values go into quotes, and quotes in them into references.
#include "page/tag_as_browsers_read.h"

#include <algorithm>
#include <array>
#include <utility>

#include "page/browser_tags.h"

namespace sifterra {

namespace {

// What each attribute of the model says first.
using Values = std::array<std::u16string_view, kModelAttributes.size()>;

void noteFirst(Values& values, std::u16string_view name, std::u16string_view value) {
  const std::size_t index = modelAttribute(name);
  if (index < values.size() && values[index].data() == nullptr) {
    values[index] = value.data() != nullptr ? value : u"";
  }
}

// The value of an attribute as it stands behind its equals sign, without quotes.
std::u16string_view valueOf(std::u16string_view text, const AttributeSpan& attribute) {
  std::u16string_view value = text.substr(attribute.nameEnd, attribute.end - attribute.nameEnd);
  const auto drop = [&value](auto goes) {
    while (!value.empty() && goes(value.front())) value.remove_prefix(1);
  };
  drop(isMarkupBlank);
  if (value.empty()) return value;
  value.remove_prefix(1);
  drop(isMarkupBlank);
  if (value.empty() || (value.front() != u'"' && value.front() != u'\'')) return value;
  return value.substr(1, value.find(value.front(), 1) - 1);
}

}  // namespace

bool readsAsBrowsers(std::u16string_view text, const TagSpan& tag) {
  const std::u16string_view name = text.substr(tag.nameBegin, tag.nameEnd - tag.nameBegin);
  constexpr std::u16string_view kRead[] = {u"a", u"img", u"meta"};
  if (std::ranges::none_of(kRead, [name](std::u16string_view known) {
        return name.size() == known.size() && startsWithIgnoringAsciiCase(name, 0, known);
      })) {
    return true;
  }
  Values parsed{};
  std::size_t at = tag.nameEnd;
  AttributeSpan span{};
  while (nextAttribute(text, at, span)) {
    noteFirst(parsed, text.substr(span.nameBegin, span.nameEnd - span.nameBegin), valueOf(text, span));
  }
  Values read{};
  BrowserTag reader(text, tag.nameBegin);
  BrowserAttribute attribute;
  while (reader.nextAttribute(attribute)) noteFirst(read, attribute.name, attribute.value);
  return parsed == read;
}

std::u16string tagAsBrowsersRead(std::u16string_view text, std::size_t at, const TagSpan& tag) {
  std::u16string written(text.substr(at, tag.nameEnd - at));
  std::array<bool, kModelAttributes.size()> seen{};
  BrowserTag reader(text, at + 1);
  BrowserAttribute attribute;
  while (reader.nextAttribute(attribute)) {
    const std::size_t index = modelAttribute(attribute.name);
    if (index == seen.size() || std::exchange(seen[index], true)) continue;
    written.append(u" ").append(kModelAttributes[index]).append(u"=\"");
    for (const char16_t c : attribute.value) {
      if (c == u'"') {
        written.append(u"&quot;");
      } else {
        written.push_back(c);
      }
    }
    written.append(u"\"");
  }
  return written.append(tag.selfClosing ? u" />" : u">");
}

}  // namespace sifterra
