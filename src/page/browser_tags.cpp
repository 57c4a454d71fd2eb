// browser_tags: the states of the tokenizer, as far as they decide where something ends.
#include "page/browser_tags.h"

#include "page/markup_tags.h"

namespace sifterra {

namespace {

constexpr std::u16string_view kScript = u"script";

bool endsName(char16_t c) noexcept {
  return isMarkupBlank(c) || c == u'/' || c == u'>';
}

}  // namespace

BrowserTag::BrowserTag(std::u16string_view text, std::size_t nameBegin) noexcept
    : text_(text), nameEnd_(nameBegin) {
  while (nameEnd_ < text.size() && !endsName(text[nameEnd_])) ++nameEnd_;
  at_ = nameEnd_;
}

bool BrowserTag::nextAttribute(BrowserAttribute& attribute) noexcept {
  const std::size_t size = text_.size();
  const auto skipBlanks = [&] {
    while (at_ < size && isMarkupBlank(text_[at_])) ++at_;
  };
  const std::size_t behindLast = at_;
  while (at_ < size && (isMarkupBlank(text_[at_]) || text_[at_] == u'/')) ++at_;
  if (at_ >= size) return false;
  if (text_[at_] == u'>') {
    end_ = at_ + 1;
    selfClosing_ = at_ > behindLast && text_[at_ - 1] == u'/';
    return false;
  }
  const std::size_t begin = at_++;  // an equals sign here belongs to the name
  while (at_ < size && !endsName(text_[at_]) && text_[at_] != u'=') ++at_;
  attribute = {text_.substr(begin, at_ - begin), {}};
  skipBlanks();
  if (at_ >= size || text_[at_] != u'=') return true;
  ++at_;
  skipBlanks();
  if (at_ >= size) return true;
  const char16_t quote = text_[at_];
  if (quote == u'"' || quote == u'\'') {
    const std::size_t close = text_.find(quote, at_ + 1);
    attribute.value = text_.substr(at_ + 1, close == kNoEnd ? kNoEnd : close - at_ - 1);
    at_ = close == kNoEnd ? size : close + 1;
    return true;
  }
  const std::size_t valueBegin = at_;
  while (at_ < size && text_[at_] != u'>' && !isMarkupBlank(text_[at_])) ++at_;
  attribute.value = text_.substr(valueBegin, at_ - valueBegin);
  return true;
}

std::size_t endOfBrowserTag(std::u16string_view text, std::size_t nameBegin) noexcept {
  BrowserTag tag(text, nameBegin);
  BrowserAttribute attribute;
  while (tag.nextAttribute(attribute)) {
  }
  return tag.end();
}

bool startsTag(std::u16string_view text, std::size_t at) noexcept {
  const std::size_t name = text.substr(at + 1, 1) == u"/" ? at + 2 : at + 1;
  return name < text.size() && isAsciiLetter(text[name]);
}

bool holdsTags(std::u16string_view text, std::size_t at) noexcept {
  for (at = text.find(u'<', at); at != kNoEnd; at = text.find(u'<', at + 1)) {
    if (startsTag(text, at)) return true;
  }
  return false;
}

bool isTagNamed(std::u16string_view text, std::size_t at, std::u16string_view word) noexcept {
  return startsWithIgnoringAsciiCase(text, at, word) && at + word.size() < text.size() &&
         endsName(text[at + word.size()]);
}

std::size_t findRawEndTag(std::u16string_view text, std::size_t at, std::u16string_view name) noexcept {
  for (at = text.find(u"</", at); at != kNoEnd; at = text.find(u"</", at + 2)) {
    if (isTagNamed(text, at + 2, name)) return at;
  }
  return kNoEnd;
}

std::size_t findScriptEndTag(std::u16string_view text, std::size_t at) noexcept {
  enum class State { Plain, Escaped, DoubleEscaped };
  State state = State::Plain;
  for (at = text.find_first_of(u"<-", at); at != kNoEnd; at = text.find_first_of(u"<-", at + 1)) {
    if (text[at] == u'-') {
      if (state != State::Plain && text.substr(at, 3) == u"-->") state = State::Plain;
    } else if (isTagNamed(text, at + 2, kScript) && text[at + 1] == u'/') {
      if (state != State::DoubleEscaped) return at;
      state = State::Escaped;
    } else if (state == State::Plain && text.substr(at, 4) == u"<!--") {
      state = State::Escaped;  // its dashes may be those of "-->"
    } else if (state == State::Escaped && isTagNamed(text, at + 1, kScript)) {
      state = State::DoubleEscaped;
    }
  }
  return kNoEnd;
}

}  // namespace sifterra
