// declared_encoding: the prescan that the HTML standard prescribes for user agents, section
// "determining the character encoding", with the search going on through the whole head as browsers
// do that meet a late declaration.
#include "page/declared_encoding.h"

#include <algorithm>
#include <array>

#include "platform/CharacterSet.h"

namespace sifterra {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

constexpr std::array<std::string_view, 12> kHeadTags = {"html",     "head",   "title",    "meta",
                                                        "link",     "base",   "script",   "style",
                                                        "noscript", "object", "template", "bgsound"};

constexpr bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}
constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
}

std::string lowered(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), lower);
  return result;
}

bool isKnown(std::string_view label) {
  return platform::webEncodingForLabel(label).has_value();
}

// Reads tags of a page's start; `at` is always within the text or at its end.
class Prescan {
 public:
  explicit Prescan(std::string_view bytes) : bytes_(bytes) {}

  std::optional<std::string> run();

 private:
  struct Attribute {
    std::string name;
    std::string value;
  };

  bool more() const { return at_ < bytes_.size(); }
  char here() const { return bytes_[at_]; }
  void skipBlanks(bool slashes) {
    while (more() && (isBlank(here()) || (slashes && here() == '/'))) ++at_;
  }
  std::optional<Attribute> nextAttribute();
  std::string attributeValue();
  std::optional<std::string> metaTag();
  void skipTag();
  std::string_view tagName() const;
  void skipPast(std::string_view text) {
    const std::size_t found = bytes_.find(text, at_);
    at_ = found == kNone ? bytes_.size() : found + text.size();
  }
  bool leavesHead(std::string_view name) const;

  std::string_view bytes_;
  std::size_t at_ = 0;
};

std::string Prescan::attributeValue() {
  std::string value;
  if (!more()) return value;
  if (here() == '"' || here() == '\'') {
    const char quote = here();
    for (++at_; more() && here() != quote; ++at_) value += lower(here());
    if (more()) ++at_;
    return value;
  }
  for (; more() && !isBlank(here()) && here() != '>'; ++at_) value += lower(here());
  return value;
}

std::optional<Prescan::Attribute> Prescan::nextAttribute() {
  skipBlanks(true);
  if (!more() || here() == '>') return std::nullopt;
  Attribute attribute;
  for (; more(); ++at_) {
    const char c = here();
    if ((c == '=' && !attribute.name.empty()) || isBlank(c) || c == '/' || c == '>') break;
    attribute.name += lower(c);
  }
  skipBlanks(false);
  if (!more() || here() != '=') return attribute;
  ++at_;
  skipBlanks(false);
  attribute.value = attributeValue();
  return attribute;
}

// The label of a meta tag whose attributes start here.
std::optional<std::string> Prescan::metaTag() {
  bool isContentType = false;
  bool sawCharset = false;
  std::optional<std::string> charset;
  std::optional<std::string> contentCharset;
  std::array<bool, 3> seen{};
  while (std::optional<Attribute> attribute = nextAttribute()) {
    if (attribute->name == "http-equiv" && !seen[0]) {
      seen[0] = true;
      isContentType = attribute->value == "content-type";
    } else if (attribute->name == "content" && !seen[1]) {
      seen[1] = true;
      contentCharset = charsetInContentType(attribute->value);
    } else if (attribute->name == "charset" && !seen[2]) {
      seen[2] = true;
      sawCharset = true;
      charset = attribute->value;
    }
  }
  if (sawCharset) return charset;
  return isContentType ? contentCharset : std::nullopt;
}

std::string_view Prescan::tagName() const {
  std::size_t end = at_;
  while (end < bytes_.size() && !isBlank(bytes_[end]) && bytes_[end] != '/' && bytes_[end] != '>') ++end;
  return bytes_.substr(at_, end - at_);
}

void Prescan::skipTag() {
  at_ += tagName().size();
  while (nextAttribute()) {
  }
}

bool Prescan::leavesHead(std::string_view name) const {
  return at_ > kDeclarationBytes && std::ranges::find(kHeadTags, lowered(name)) == kHeadTags.end();
}

std::optional<std::string> Prescan::run() {
  while (true) {
    const std::size_t less = bytes_.find('<', at_);
    if (less == kNone || less + 1 >= bytes_.size()) return std::nullopt;
    at_ = less + 1;
    if (bytes_.substr(at_, 3) == "!--") {
      at_ += 1;  // the dashes of the start may be those of the end: "<!-->"
      skipPast("-->");
    } else if (isLetter(here())) {
      const std::string_view name = tagName();
      if (leavesHead(name)) return std::nullopt;
      if (lowered(name) == "meta") {
        at_ += name.size();
        // A label that names no encoding is none: browsers look on.
        if (std::optional<std::string> label = metaTag(); label && isKnown(*label)) return label;
      } else {
        skipTag();
      }
    } else if (here() == '/' && at_ + 1 < bytes_.size() && isLetter(bytes_[at_ + 1])) {
      ++at_;
      skipTag();
    } else if (here() == '!' || here() == '/' || here() == '?') {
      skipPast(">");
    }
  }
}

// The encoding of an XML declaration that starts the page.
std::optional<std::string> xmlDeclaration(std::string_view bytes) {
  if (!bytes.starts_with("<?xml")) return std::nullopt;
  const std::size_t end = bytes.find('>');
  if (end > kDeclarationBytes) return std::nullopt;  // also when there is none
  const std::string_view inside = bytes.substr(0, end);
  std::size_t at = inside.find("encoding");
  if (at == kNone) return std::nullopt;
  at += std::string_view("encoding").size();
  while (at < inside.size() && isBlank(inside[at])) ++at;
  if (at >= inside.size() || inside[at] != '=') return std::nullopt;
  ++at;
  while (at < inside.size() && isBlank(inside[at])) ++at;
  if (at >= inside.size() || (inside[at] != '"' && inside[at] != '\'')) return std::nullopt;
  const std::size_t close = inside.find(inside[at], at + 1);
  if (close == kNone) return std::nullopt;
  return lowered(inside.substr(at + 1, close - at - 1));
}

}  // namespace

std::optional<std::string> charsetInContentType(std::string_view content) {
  const std::string text = lowered(content);
  for (std::size_t at = text.find("charset"); at != kNone; at = text.find("charset", at)) {
    at += std::string_view("charset").size();
    std::size_t value = at;
    while (value < text.size() && isBlank(text[value])) ++value;
    if (value >= text.size() || text[value] != '=') continue;
    ++value;
    while (value < text.size() && isBlank(text[value])) ++value;
    if (value >= text.size()) return std::nullopt;
    if (text[value] == '"' || text[value] == '\'') {
      const std::size_t close = text.find(text[value], value + 1);
      if (close == kNone) return std::nullopt;
      return text.substr(value + 1, close - value - 1);
    }
    const std::size_t end = text.find_first_of("; \t\n\r\f", value);
    return text.substr(value, end == kNone ? kNone : end - value);
  }
  return std::nullopt;
}

std::optional<std::string> declaredEncodingLabel(std::string_view bytes) {
  bytes = bytes.substr(0, kMostDeclarationBytes);
  if (std::optional<std::string> label = Prescan(bytes).run()) return label;
  return xmlDeclaration(bytes);
}

}  // namespace sifterra
