#include "evaluation/page_pieces.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <optional>

#include "evaluation/characters.h"

namespace sifterra::tools {
namespace {

bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool startsWithName(std::string_view text, std::string_view name) {
  return text.size() >= name.size() &&
         std::equal(name.begin(), name.end(), text.begin(), [](char a, char b) { return a == lower(b); });
}

bool isName(std::string_view text, std::string_view name) {
  return text.size() == name.size() && startsWithName(text, name);
}

// From U+00A0 on, without a gap.
constexpr std::array<std::string_view, 96> kLatin1Names = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",    "copy",
    "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn", "sup2",   "sup3",
    "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",   "raquo",  "frac14", "frac12",
    "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde", "Auml",   "Aring",  "AElig",  "Ccedil",
    "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave", "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde",
    "Ograve", "Oacute", "Ocirc",  "Otilde", "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",
    "Uuml",   "Yacute", "THORN",  "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",
    "aelig",  "ccedil", "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",
    "eth",    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
    "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};

struct NamedCharacter {
  std::string_view name;
  char32_t character;
};
constexpr std::array<NamedCharacter, 14> kNames = {{{"amp", U'&'},
                                                    {"lt", U'<'},
                                                    {"gt", U'>'},
                                                    {"quot", U'"'},
                                                    {"apos", U'\''},
                                                    {"hellip", U'\u2026'},
                                                    {"ndash", U'\u2013'},
                                                    {"mdash", U'\u2014'},
                                                    {"lsquo", U'\u2018'},
                                                    {"rsquo", U'\u2019'},
                                                    {"ldquo", U'\u201C'},
                                                    {"rdquo", U'\u201D'},
                                                    {"bull", U'\u2022'},
                                                    {"euro", U'\u20AC'}}};

// What stands between "&" and ";"; 0 when it names nothing known.
char32_t referenced(std::string_view name) {
  if (name.size() > 1 && name[0] == '#') {
    const bool hex = name[1] == 'x' || name[1] == 'X';
    char32_t value = 0;
    for (const char c : name.substr(hex ? 2 : 1)) {
      const bool valid = hex ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c >= '0' && c <= '9';
      if (!valid || value > 0x10FFFF) return 0;
      const int digit = c <= '9' ? c - '0' : lower(c) - 'a' + 10;
      value = value * (hex ? 16 : 10) + static_cast<char32_t>(digit);
    }
    return value > 0x10FFFF || (value >= 0xD800 && value < 0xE000) ? 0 : value;
  }
  for (std::size_t i = 0; i < kLatin1Names.size(); ++i) {
    if (kLatin1Names[i] == name) return static_cast<char32_t>(0xA0 + i);
  }
  for (const NamedCharacter& named : kNames) {
    if (named.name == name) return named.character;
  }
  return 0;
}

std::string unescaped(std::string_view html) {
  std::string text;
  text.reserve(html.size());
  for (std::size_t i = 0; i < html.size(); ++i) {
    constexpr std::size_t kLongestName = 10;
    const std::size_t end = html[i] == '&' ? html.find(';', i) : std::string_view::npos;
    const bool near = end != std::string_view::npos && end - i <= kLongestName;
    const char32_t character = near ? referenced(html.substr(i + 1, end - i - 1)) : 0;
    if (character == 0) {
      text += html[i];
    } else {
      appendUtf8(character, text);
      i = end;
    }
  }
  return text;
}

class Scanner {
 public:
  explicit Scanner(std::string_view html) : html_(html) {}

  std::vector<PagePiece> pieces() {
    while (at_ < html_.size()) {
      const std::size_t tag = tagStart();
      add(inTitle_ ? TextPlace::kTitle : TextPlace::kText, html_.substr(at_, tag - at_));
      at_ = tag;
      if (at_ < html_.size()) markup();
    }
    return std::move(pieces_);
  }

 private:
  // The next "<" that begins a tag, a comment or a declaration.
  [[nodiscard]] std::size_t tagStart() const {
    for (std::size_t i = html_.find('<', at_); i != std::string_view::npos; i = html_.find('<', i + 1)) {
      const char next = i + 1 < html_.size() ? lower(html_[i + 1]) : '\0';
      if ((next >= 'a' && next <= 'z') || next == '/' || next == '!' || next == '?') return i;
    }
    return html_.size();
  }

  void add(TextPlace place, std::string_view html) {
    if (html.empty()) return;
    const bool blank = std::all_of(html.begin(), html.end(), isSpace);
    if (place != TextPlace::kMarkup && !blank) {
      pieces_.push_back({place, unescaped(html)});
    } else if (!pieces_.empty() && pieces_.back().place == TextPlace::kMarkup) {
      pieces_.back().text += html;
    } else {
      pieces_.push_back({TextPlace::kMarkup, std::string(html)});
    }
  }

  void addUpTo(std::size_t end) {
    add(TextPlace::kMarkup, html_.substr(at_, end - at_));
    at_ = end;
  }

  void markup() {
    const std::string_view rest = html_.substr(at_);
    if (rest.substr(0, 4) == "<!--") {
      const std::size_t end = html_.find("-->", at_ + 4);
      addUpTo(end == std::string_view::npos ? html_.size() : end + 3);
      return;
    }
    const bool closing = rest.size() > 1 && rest[1] == '/';
    std::size_t nameEnd = at_ + (closing ? 2 : 1);
    const std::size_t nameStart = nameEnd;
    while (nameEnd < html_.size() && !isSpace(html_[nameEnd]) && html_[nameEnd] != '>' &&
           html_[nameEnd] != '/')
      ++nameEnd;
    const std::string_view name = html_.substr(nameStart, nameEnd - nameStart);
    tag(name, nameEnd);
    inTitle_ = !closing && isName(name, "title");
    if (closing) return;
    for (const std::string_view raw : {"script", "style", "xmp", "iframe", "noembed", "noframes", "svg"}) {
      if (isName(name, raw)) addUpTo(endTag(raw));
    }
  }

  // Where the end tag of that name begins.
  [[nodiscard]] std::size_t endTag(std::string_view name) const {
    for (std::size_t i = html_.find("</", at_); i != std::string_view::npos; i = html_.find("</", i + 2)) {
      if (startsWithName(html_.substr(i + 2), name)) return i;
    }
    return html_.size();
  }

  struct Attribute {
    std::string_view name;
    std::size_t from;  // of the value in the page, and its end
    std::size_t to;
    bool quoted;
  };

  // The tag up to its ">", with the text in its attributes apart.
  void tag(std::string_view name, std::size_t nameEnd) {
    std::vector<Attribute> attributes;
    const std::size_t end = readAttributes(nameEnd, attributes);
    std::optional<TextPlace> meta;
    for (const Attribute& attribute : attributes) {
      const std::string_view value = html_.substr(attribute.from, attribute.to - attribute.from);
      if (!isName(attribute.name, "name")) continue;
      if (isName(value, "description")) meta = TextPlace::kDescription;
      if (isName(value, "keywords")) meta = TextPlace::kKeywords;
    }
    for (const Attribute& attribute : attributes) {
      TextPlace place = TextPlace::kMarkup;
      if (isName(attribute.name, "alt")) place = TextPlace::kAlt;
      if (isName(attribute.name, "title")) place = TextPlace::kTip;
      if (isName(name, "meta") && meta && isName(attribute.name, "content")) place = *meta;
      if (place == TextPlace::kMarkup || attribute.from == attribute.to) continue;
      // Escaped text fits between either kind of quotes; a value without quotes gets some.
      addUpTo(attribute.from);
      if (!attribute.quoted) add(TextPlace::kMarkup, "\"");
      add(place, html_.substr(attribute.from, attribute.to - attribute.from));
      if (!attribute.quoted) add(TextPlace::kMarkup, "\"");
      at_ = attribute.to;
    }
    addUpTo(end);
  }

  // The end of the tag, behind its ">".
  std::size_t readAttributes(std::size_t i, std::vector<Attribute>& attributes) const {
    while (i < html_.size() && html_[i] != '>') {
      if (isSpace(html_[i]) || html_[i] == '/') {
        ++i;
        continue;
      }
      const std::size_t nameStart = i;
      while (i < html_.size() && !isSpace(html_[i]) && html_[i] != '=' && html_[i] != '>') ++i;
      Attribute attribute{html_.substr(nameStart, i - nameStart), i, i, false};
      while (i < html_.size() && isSpace(html_[i])) ++i;
      if (i < html_.size() && html_[i] == '=') {
        ++i;
        while (i < html_.size() && isSpace(html_[i])) ++i;
        i = readValue(i, attribute);
      } else if (attribute.name.empty()) {
        ++i;
      }
      attributes.push_back(attribute);
    }
    return std::min(i + 1, html_.size());
  }

  std::size_t readValue(std::size_t i, Attribute& attribute) const {
    attribute.quoted = i < html_.size() && (html_[i] == '"' || html_[i] == '\'');
    if (attribute.quoted) {
      attribute.from = i + 1;
      attribute.to = std::min(html_.find(html_[i], i + 1), html_.size());
      return std::min(attribute.to + 1, html_.size());
    }
    attribute.from = i;
    while (i < html_.size() && !isSpace(html_[i]) && html_[i] != '>') ++i;
    attribute.to = i;
    return i;
  }

  std::string_view html_;
  std::size_t at_ = 0;
  bool inTitle_ = false;
  std::vector<PagePiece> pieces_;
};

}  // namespace

std::vector<PagePiece> pagePieces(std::string_view html) {
  return Scanner(html).pieces();
}

std::string escapedText(std::string_view text) {
  std::string html;
  html.reserve(text.size());
  for (const char c : text) {
    if (c == '&') {
      html += "&amp;";
    } else if (c == '<') {
      html += "&lt;";
    } else if (c == '>') {
      html += "&gt;";
    } else if (c == '"') {
      html += "&quot;";
    } else if (c == '\'') {
      html += "&#39;";
    } else {
      html += c;
    }
  }
  return html;
}

std::string pageOf(const std::vector<PagePiece>& pieces) {
  std::string html;
  for (const PagePiece& piece : pieces) {
    html += piece.place == TextPlace::kMarkup ? piece.text : escapedText(piece.text);
  }
  return html;
}

}  // namespace sifterra::tools
