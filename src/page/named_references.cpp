// named_references: a search for an ampersand that matters, and only where there is one a walk over the
// markup.
#include "page/named_references.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "page/markup_edits.h"
#include "page/markup_tags.h"
#include "util/unit_search.h"

namespace sifterra {

namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

struct NamedReference {
  char name[32];  // in place, so that the table needs no work when the library is loaded
  char32_t first;
  char32_t second;
};
constexpr NamedReference kNamed[] = {
#include "page/named_references.inc"
};
constexpr std::size_t kLongestName = 31;

// What browsers read without a semicolon as well.
constexpr std::string_view kLoose[] = {
    "AElig",  "AMP",    "Aacute", "Acirc",  "Agrave", "Aring",  "Atilde", "Auml",  "COPY",   "Ccedil",
    "ETH",    "Eacute", "Ecirc",  "Egrave", "Euml",   "GT",     "Iacute", "Icirc", "Igrave", "Iuml",
    "LT",     "Ntilde", "Oacute", "Ocirc",  "Ograve", "Oslash", "Otilde", "Ouml",  "QUOT",   "REG",
    "THORN",  "Uacute", "Ucirc",  "Ugrave", "Uuml",   "Yacute", "aacute", "acirc", "acute",  "aelig",
    "agrave", "amp",    "aring",  "atilde", "auml",   "brvbar", "ccedil", "cedil", "cent",   "copy",
    "curren", "deg",    "divide", "eacute", "ecirc",  "egrave", "eth",    "euml",  "frac12", "frac14",
    "frac34", "gt",     "iacute", "icirc",  "iexcl",  "igrave", "iquest", "iuml",  "laquo",  "lt",
    "macr",   "micro",  "middot", "nbsp",   "not",    "ntilde", "oacute", "ocirc", "ograve", "ordf",
    "ordm",   "oslash", "otilde", "ouml",   "para",   "plusmn", "pound",  "quot",  "raquo",  "reg",
    "sect",   "shy",    "sup1",   "sup2",   "sup3",   "szlig",  "thorn",  "times", "uacute", "ucirc",
    "ugrave", "uml",    "uuml",   "yacute", "yen",    "yuml"};
constexpr std::size_t kLongestLooseName = 6;

// What browsers make of the numbers 128 to 159.
constexpr std::array<char16_t, 32> kWindows1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr bool isDigit(char16_t c) noexcept {
  return c >= u'0' && c <= u'9';
}
constexpr bool isAlphanumeric(char16_t c) noexcept {
  return isAsciiLetter(c) || isDigit(c);
}
// 16 for what is no digit of any base.
constexpr std::uint32_t digitValue(char16_t c) noexcept {
  if (isDigit(c)) return static_cast<std::uint32_t>(c - u'0');
  const char16_t lower = asciiLower(c);
  return lower >= u'a' && lower <= u'f' ? static_cast<std::uint32_t>(lower - u'a' + 10) : 16;
}

void appendNumber(char32_t character, std::u16string& out) {
  const std::string digits = std::to_string(static_cast<std::uint32_t>(character));
  out.append(u"&#").append(digits.begin(), digits.end()).push_back(u';');
}

const NamedReference* named(std::string_view name) {
  const auto* const found = std::ranges::lower_bound(
      kNamed, name, {}, [](const NamedReference& row) { return std::string_view(row.name); });
  return found != std::end(kNamed) && found->name == name ? found : nullptr;
}

// A name that the parser finds by itself, when a semicolon stands behind it.
bool isParsersOwn(const std::string& name) {
  return htmlEntityLookup(reinterpret_cast<const xmlChar*>(name.c_str())) != nullptr;
}

struct Replacement {
  std::size_t end;
  std::u16string by;
};

Replacement numbered(const NamedReference& reference, std::size_t end) {
  Replacement replacement{end, {}};
  appendNumber(reference.first, replacement.by);
  if (reference.second != 0) appendNumber(reference.second, replacement.by);
  return replacement;
}

// "&#150;", from the '#' on.
std::optional<Replacement> numericReference(std::u16string_view text, std::size_t at) {
  const bool hex = at + 1 < text.size() && asciiLower(text[at + 1]) == u'x';
  const std::uint32_t base = hex ? 16 : 10;
  std::uint32_t value = 0;
  for (at += hex ? 2 : 1; at < text.size() && digitValue(text[at]) < base; ++at) {
    value = std::min(value * base + digitValue(text[at]), std::uint32_t{0x110000});
  }
  if (value < 0x80 || value > 0x9F) return std::nullopt;
  if (at < text.size() && text[at] == u';') ++at;
  Replacement replacement{at, {}};
  appendNumber(kWindows1252[value - 0x80], replacement.by);
  return replacement;
}

// What is to stand in place of the reference at the '&'; nothing when it is to stay.
std::optional<Replacement> replacementAt(std::u16string_view text, std::size_t at, bool inAttribute) {
  const std::size_t begin = at + 1;
  if (begin < text.size() && text[begin] == u'#') return numericReference(text, begin);
  std::string name;
  for (std::size_t i = begin; i < text.size() && name.size() <= kLongestName && isAlphanumeric(text[i]);
       ++i) {
    name.push_back(static_cast<char>(text[i]));
  }
  const auto unitBehind = [&](std::size_t length) {
    return begin + length < text.size() ? text[begin + length] : u'\0';
  };
  const bool closed = unitBehind(name.size()) == u';';
  if (closed) {
    if (const auto* const reference = named(name)) return numbered(*reference, begin + name.size() + 1);
  }
  for (std::size_t length = std::min(name.size(), kLongestLooseName); length > 1; --length) {
    const std::string_view loose = std::string_view(name).substr(0, length);
    if (!std::ranges::binary_search(kLoose, loose)) continue;
    if (closed && (length == name.size() || isParsersOwn(name))) return std::nullopt;
    // In "?a=b&copy=c" it is a name of the address.
    const char16_t next = unitBehind(length);
    if (inAttribute && (next == u'=' || isAlphanumeric(next))) return std::nullopt;
    if (const auto* const reference = named(loose)) return numbered(*reference, begin + length);
    return Replacement{begin + length, std::u16string(text.substr(at, length + 1)).append(u";")};
  }
  return std::nullopt;
}

class ReferenceWalk {
 public:
  explicit ReferenceWalk(std::u16string_view in) : in_(in), edits_(in) {}

  // Whether anything was changed; then output() has the result.
  bool run();
  std::u16string output() && { return std::move(edits_).output(); }

 private:
  std::size_t replace(std::size_t at, bool inAttribute);
  std::size_t pastStartTag(std::size_t at);
  [[nodiscard]] std::size_t pastComment(std::size_t at) const;
  [[nodiscard]] std::size_t endOfRawText(std::size_t at, std::u16string_view name) const;

  std::u16string_view in_;
  MarkupEdits edits_;
};

bool ReferenceWalk::run() {
  for (std::size_t at = in_.find_first_of(u"<&"); at != kNone; at = in_.find_first_of(u"<&", at)) {
    if (in_[at] == u'&') {
      at = replace(at, false);
    } else if (at + 1 < in_.size() && isAsciiLetter(in_[at + 1])) {
      at = pastStartTag(at);
    } else {
      at = in_.substr(at, 4) == u"<!--" ? pastComment(at) : at + 1;
    }
  }
  return edits_.any();
}

std::size_t ReferenceWalk::replace(std::size_t at, bool inAttribute) {
  const std::optional<Replacement> replacement = replacementAt(in_, at, inAttribute);
  if (!replacement) return at + 1;
  edits_.replace(at, replacement->end, replacement->by);
  return replacement->end;
}

std::size_t ReferenceWalk::pastStartTag(std::size_t at) {
  TagSpan tag{};
  if (!parsePlainStartTag(in_, at, tag)) tag = parseStartTag(in_, at);
  const std::u16string_view whole = in_.substr(0, tag.end);
  for (std::size_t i = findUnit(whole, u'&', tag.nameEnd); i < tag.end; i = findUnit(whole, u'&', i)) {
    i = replace(i, true);
  }
  const std::u16string_view name = in_.substr(tag.nameBegin, tag.nameEnd - tag.nameBegin);
  for (const std::u16string_view raw : {u"script", u"style"}) {
    if (!tag.selfClosing && name.size() == raw.size() && startsWithIgnoringAsciiCase(name, 0, raw)) {
      return endOfRawText(tag.end, raw);
    }
  }
  return tag.end;
}

// The dashes of the start may be those of the end: "<!-->" is a comment.
std::size_t ReferenceWalk::pastComment(std::size_t at) const {
  for (std::size_t dash = in_.find(u"--", at + 2); dash != kNone; dash = in_.find(u"--", dash + 1)) {
    if (in_.substr(dash, 3) == u"-->") return dash + 3;
    if (in_.substr(dash, 4) == u"--!>" && dash > at + 2) return dash + 4;
  }
  return in_.size();
}

std::size_t ReferenceWalk::endOfRawText(std::size_t at, std::u16string_view name) const {
  for (at = in_.find(u"</", at); at != kNone; at = in_.find(u"</", at + 2)) {
    if (startsWithIgnoringAsciiCase(in_, at + 2, name)) return at;
  }
  return in_.size();
}

bool mayHoldAny(std::u16string_view text) {
  for (std::size_t at = findUnit(text, u'&'); at != kNone; at = findUnit(text, u'&', at + 1)) {
    if (replacementAt(text, at, false)) return true;
  }
  return false;
}

}  // namespace

std::u16string withNumberedReferences(std::u16string text) {
  if (!mayHoldAny(text)) return text;
  ReferenceWalk walk(text);
  if (walk.run()) text = std::move(walk).output();
  return text;
}

}  // namespace sifterra
