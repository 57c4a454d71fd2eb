// declared_entities: reads the declarations that XML allows in front of a page, and puts their values in.
#include "page/declared_entities.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "page/markup_tags.h"
#include "page/xml_prolog.h"
#include "platform/Unicode.h"
#include "util/unit_search.h"

namespace sifterra {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
constexpr std::size_t kLongestName = 256;

bool isQuote(char16_t c) noexcept {
  return c == u'"' || c == u'\'';
}

// The character of "&#65;" or "&#x41;", and past it; none for what is no such reference.
std::optional<char32_t> numericReference(std::u16string_view text, std::size_t& at) {
  if (text.substr(at, 2) != u"&#") return std::nullopt;
  std::size_t i = at + 2;
  const bool hex = i < text.size() && (text[i] == u'x' || text[i] == u'X');
  if (hex) ++i;
  std::uint32_t value = 0;
  const std::size_t begin = i;
  for (; i < text.size() && i - begin < 8; ++i) {
    const char16_t c = asciiLower(text[i]);
    if (c >= u'0' && c <= u'9') {
      value = value * (hex ? 16 : 10) + static_cast<std::uint32_t>(c - u'0');
    } else if (hex && c >= u'a' && c <= u'f') {
      value = value * 16 + static_cast<std::uint32_t>(c - u'a' + 10);
    } else {
      break;
    }
  }
  if (i == begin || i >= text.size() || text[i] != u';' || value == 0 || value > 0x10FFFF)
    return std::nullopt;
  at = i + 1;
  return value;
}

class Entities {
 public:
  // Reads the page's declarations; past them, or 0 when there are none.
  std::size_t read(std::u16string_view text);
  // Appends text[from...] with the declared entities' words.
  void append(std::u16string_view text, std::size_t from, std::u16string& out);

 private:
  std::size_t readSubset(std::u16string_view text, std::size_t at, std::size_t depth);
  void declare(std::u16string_view declaration, std::size_t depth);
  void appendValue(std::u16string_view value, std::size_t depth, std::u16string& out);
  std::size_t appendReference(std::u16string_view text, std::size_t at, std::size_t depth,
                              std::u16string& out);

  std::map<std::u16string, std::u16string, std::less<>> values_;
  std::size_t left_ = kMostEntityText;
  std::size_t steps_ = kMostEntityText;  // references followed: an empty one costs time as well
};

std::size_t skipBlanks(std::u16string_view text, std::size_t at) {
  while (at < text.size() && isMarkupBlank(text[at])) ++at;
  return at;
}

// Past the next '>' outside of quotes.
std::size_t endOfDeclaration(std::u16string_view text, std::size_t at) {
  for (; at < text.size() && text[at] != u'>'; ++at) {
    if (!isQuote(text[at])) continue;
    at = findUnit(text, text[at], at + 1);
    if (at == kNone) return text.size();
  }
  return at < text.size() ? at + 1 : at;
}

std::size_t Entities::read(std::u16string_view text) {
  std::size_t at = skipAsides(text, 0);
  if (!startsWithIgnoringAsciiCase(text, at, u"<!doctype")) return 0;
  for (; at < text.size() && text[at] != u'['; ++at) {
    if (text[at] == u'>') return 0;
    if (isQuote(text[at])) at = findUnit(text, text[at], at + 1);
    if (at == kNone) return 0;
  }
  if (at >= text.size()) return 0;
  const std::size_t end = readSubset(text, at + 1, 0);
  return values_.empty() ? 0 : end;
}

std::size_t Entities::readSubset(std::u16string_view text, std::size_t at, std::size_t depth) {
  for (at = skipAsides(text, at); at < text.size() && text[at] != u']'; at = skipAsides(text, at)) {
    if (text[at] != u'<') {  // "%name;": its declarations were read where it was declared
      ++at;
      continue;
    }
    const std::size_t end = endOfDeclaration(text, at);
    if (startsWithIgnoringAsciiCase(text, at, u"<!entity")) declare(text.substr(at + 8, end - at - 8), depth);
    at = end;
  }
  return at;
}

// " name 'value'>" or " % name 'value'>", whose value is declarations. The first of a name counts.
void Entities::declare(std::u16string_view declaration, std::size_t depth) {
  std::size_t at = skipBlanks(declaration, 0);
  const bool parameter = at < declaration.size() && declaration[at] == u'%';
  if (parameter) at = skipBlanks(declaration, at + 1);
  const std::size_t name = at;
  while (at < declaration.size() && !isMarkupBlank(declaration[at]) && !isQuote(declaration[at])) ++at;
  const std::size_t nameEnd = at;
  at = skipBlanks(declaration, at);
  if (at >= declaration.size() || !isQuote(declaration[at]) || nameEnd == name) return;
  const std::size_t close = findUnit(declaration, declaration[at], at + 1);
  if (close == kNone || nameEnd - name > kLongestName) return;
  // Characters by number become themselves where they are declared.
  std::u16string value;
  for (std::size_t i = at + 1; i < close;) {
    if (const auto c = numericReference(declaration.substr(0, close), i)) {
      platform::appendCharacter(*c, value);
      continue;
    }
    // Blanks would use up what may be put in, and nobody sees how many there are.
    const bool again = isMarkupBlank(declaration[i]) && !value.empty() && isMarkupBlank(value.back());
    if (!again) value.push_back(declaration[i]);
    ++i;
  }
  if (parameter) {
    if (depth < kMostEntityDepth) readSubset(value, 0, depth + 1);
  } else if (values_.size() < kMostDeclaredEntities) {
    values_.try_emplace(std::u16string(declaration.substr(name, nameEnd - name)), std::move(value));
  }
}

void Entities::append(std::u16string_view text, std::size_t from, std::u16string& out) {
  while (from < text.size()) {
    const std::size_t at = std::min(findUnit(text, u'&', from), text.size());
    out.append(text.substr(from, at - from));
    if (at == text.size()) break;
    from = appendReference(text, at, 0, out);
  }
  if (left_ > 0 && steps_ > 0) return;
  // Too much was asked for: each word stands there once, at least.
  steps_ = 0;
  for (const auto& [name, value] : values_) {
    left_ = value.size();
    out.push_back(u' ');
    appendValue(value, 0, out);
  }
}

// What stands at the '&', with the words in place of a declared name; past it.
std::size_t Entities::appendReference(std::u16string_view text, std::size_t at, std::size_t depth,
                                      std::u16string& out) {
  const std::size_t end = findUnit(text.substr(0, at + kLongestName + 2), u';', at);
  const auto found = end == kNone || steps_ == 0 || depth > kMostEntityDepth
                         ? values_.end()
                         : values_.find(text.substr(at + 1, end - at - 1));
  if (found == values_.end()) {
    out.push_back(text[at]);
    return at + 1;
  }
  --steps_;
  appendValue(found->second, depth + 1, out);
  return end + 1;
}

// Markup and quotes become blanks.
void Entities::appendValue(std::u16string_view value, std::size_t depth, std::u16string& out) {
  for (std::size_t at = 0; at < value.size() && left_ > 0;) {
    const char16_t c = value[at];
    --left_;
    if (c == u'&') {
      at = appendReference(value, at, depth, out);
      continue;
    }
    out.push_back(c == u'<' || c == u'>' || isQuote(c) ? u' ' : c);
    ++at;
  }
}

}  // namespace

std::u16string withDeclaredEntities(std::u16string text) {
  Entities entities;
  const std::size_t end = entities.read(text);
  if (end == 0) return text;
  std::u16string out = text.substr(0, end);
  entities.append(text, end, out);
  return out;
}

}  // namespace sifterra
