// align_markup: a walk with the browsers' idea of tags, comments and raw texts, compared with the parser's.
//
// A raw text that the parser reads as markup (a title, a text area) has a barrier at its end: nothing that
// starts within may reach past it. What would, loses its "<", and so its words show.
#include "page/align_markup.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "page/RawTexts.h"
#include "page/browser_tags.h"
#include "page/foreign_content.h"
#include "page/inline_frame.h"
#include "page/markup_edits.h"
#include "page/markup_tags.h"
#include "page/tag_as_browsers_read.h"
#include "page/xml_prolog.h"
#include "util/unit_search.h"

namespace sifterra {

namespace {

using Raw = RawTexts::Kind;

constexpr std::u16string_view kCdata = u"<![CDATA[";
constexpr std::u16string_view kEmptyComment = u"<!---->";  // parts texts as a tag does

class MarkupAligner {
 public:
  explicit MarkupAligner(std::u16string_view in) : in_(in), edits_(in), raws_(in) {}

  // Whether anything was changed; then output() has the result.
  bool run();
  std::u16string output() && { return std::move(edits_).output(); }

 private:
  std::size_t withoutEnd(std::size_t at);
  std::size_t scanMarkup(std::size_t at);
  std::size_t scanStartTag(std::size_t at);
  std::size_t scanEndTag(std::size_t at);
  std::size_t scanComment(std::size_t at);
  std::size_t scanDoctype(std::size_t at);
  std::size_t scanBogusComment(std::size_t at);
  std::size_t scanCdata(std::size_t at);
  std::size_t enterElement(Raw raw, std::size_t tagBegin, const TagSpan& tag, std::size_t tagEnd,
                           bool isAlike);
  [[nodiscard]] bool isShownAsText(std::size_t begin, std::size_t end) const;
  std::size_t enterScriptOrStyle(Raw raw, std::size_t tagBegin, const TagSpan& tag, std::size_t tagEnd);

  [[nodiscard]] std::size_t limit() const { return raws_.limit(); }
  [[nodiscard]] std::u16string_view view() const { return in_.substr(0, limit()); }
  [[nodiscard]] bool isShown(std::size_t at) const { return at < shownUntil_; }

  std::u16string_view in_;
  MarkupEdits edits_;
  RawTexts raws_;
  std::size_t shownUntil_ = 0;  // up to here browsers show even comments
  std::size_t cdataEnd_ = 0;
  std::optional<bool> mayBeXML_;  // once it was asked for
  ForeignContent foreign_;
  bool inSelect_ = false;
};

// What starts at `at` has no end before the barrier. Without a barrier browsers hide the rest, as the parser.
std::size_t MarkupAligner::withoutEnd(std::size_t at) {
  return limit() < in_.size() || isShown(at) ? edits_.blankOut(at, limit()) : in_.size();
}

bool MarkupAligner::run() {
  for (std::size_t at = findUnit(in_, u'<'); at < in_.size(); at = findUnit(in_, u'<', at)) {
    raws_.pass(at);
    at = scanMarkup(at);
  }
  return edits_.any();
}

std::size_t MarkupAligner::scanMarkup(std::size_t at) {
  if (at + 1 >= in_.size()) return in_.size();
  const char16_t next = in_[at + 1];
  if (isAsciiLetter(next)) return scanStartTag(at);
  if (next == u'/') return scanEndTag(at);
  if (next == u'!' || next == u'?') {
    if (isShown(at)) return edits_.blankOut(at, limit());
    if (in_.substr(at, 4) == u"<!--") return scanComment(at);
    if (next == u'!' && startsWithIgnoringAsciiCase(in_, at + 2, u"doctype")) return scanDoctype(at);
    return scanBogusComment(at);
  }
  // Text to browsers, but a tag to the parser, or one when the zero is gone.
  if (isNameStart(next) || next == u'\0') return edits_.blankOut(at, at + 1);
  return at + 1;
}

std::size_t MarkupAligner::scanComment(std::size_t at) {
  for (const std::u16string_view abrupt : {u"<!-->", u"<!--->"}) {
    if (view().substr(at, abrupt.size()) == abrupt) return at + abrupt.size();
  }
  for (std::size_t dash = view().find(u"--", at + 4); dash != kNoEnd; dash = view().find(u"--", dash + 1)) {
    const std::size_t length = view().substr(dash, 3) == u"-->"    ? 3
                               : view().substr(dash, 4) == u"--!>" ? 4
                                                                   : 0;
    if (length == 0) continue;
    edits_.coverZeros(at, dash);
    return dash + length;
  }
  return withoutEnd(at);
}

// The first '>' ends it in browsers; a quote may carry the parser on.
std::size_t MarkupAligner::scanDoctype(std::size_t at) {
  const std::size_t close = view().find(u'>', at);
  if (close == kNoEnd) return withoutEnd(at);
  const std::u16string_view inside = in_.substr(at + 1, close - at - 1);
  const auto doubles = std::ranges::count(inside, u'"');
  const auto singles = std::ranges::count(inside, u'\'');
  const bool plain =
      inside.find(u'<') == kNoEnd && doubles % 2 == 0 && singles % 2 == 0 && (doubles == 0 || singles == 0);
  const std::size_t cut = plain ? close : at + 1 + inside.find_first_of(u"<\"'");
  edits_.coverZeros(at, cut);
  if (!plain) edits_.replace(cut, close, {});
  return close + 1;
}

// "<!x>", "<?x>", "</ x>": hidden to the next '>'.
std::size_t MarkupAligner::scanBogusComment(std::size_t at) {
  if (in_.substr(at, kCdata.size()) == kCdata) {
    if (const std::size_t end = scanCdata(at); end != kNoEnd) return end;
  }
  const std::size_t close = view().find(u'>', at);
  if (close == kNoEnd) return withoutEnd(at);
  edits_.blankOut(at + 1, close);
  return close + 1;
}

// "<![CDATA[x]]>" is the text x in drawings and in XML, and elsewhere a comment that its first '>' ends: then
// the answer is kNoEnd. Where the two readings part and it is not known which one browsers take, nothing
// behind is hidden any more.
std::size_t MarkupAligner::scanCdata(std::size_t at) {
  if (!foreign_.possible()) {
    if (!mayBeXML_) mayBeXML_ = mayBeXML(in_);
    if (!*mayBeXML_) return kNoEnd;
  }
  if (cdataEnd_ <= at) cdataEnd_ = std::min(in_.find(u"]]>", at), in_.size());
  const std::size_t begin = at + kCdata.size();
  const std::size_t end = std::min(cdataEnd_, limit());
  if (begin > end || (end == in_.size() && !foreign_.possible())) return kNoEnd;
  if (!foreign_.certain() && findUnit(in_.substr(0, end), u'>', begin) != kNoEnd) shownUntil_ = in_.size();
  edits_.replace(at, begin, {});
  edits_.blankOut(begin, end);
  if (end != cdataEnd_ || end == in_.size()) return end;
  edits_.replace(end, end + 3, {});
  return end + 3;
}

std::size_t MarkupAligner::scanStartTag(std::size_t at) {
  TagSpan tag{};
  std::u16string_view name;
  std::size_t end = 0;
  bool selfClosing = false;
  bool isAlike = true;  // to browsers and the parser
  if (parsePlainStartTag(view(), at, tag)) {
    name = in_.substr(tag.nameBegin, tag.nameEnd - tag.nameBegin);
    end = tag.end;
    selfClosing = tag.selfClosing;
  } else {
    BrowserTag reader(view(), at + 1);
    name = in_.substr(at + 1, reader.nameEnd() - at - 1);
    BrowserAttribute attribute;
    while (reader.nextAttribute(attribute)) {
    }
    end = reader.end();
    if (end == kNoEnd) return withoutEnd(at);
    selfClosing = reader.selfClosing();
    // One unit more, so that a tag that goes on in the parser ends elsewhere.
    tag = parseStartTag(in_.substr(0, end + 1), at);
    isAlike = tag.end == end && readsAsBrowsers(view(), tag);
  }
  if (isShownAsText(at, end)) return edits_.blankOut(at, at + 1);
  foreign_.startTag(name, selfClosing);
  if (isTagNamed(in_, at + 1, u"select")) inSelect_ = true;
  const Raw raw = RawTexts::kindOf(name);
  if (raw == Raw::Script || raw == Raw::Style) return enterScriptOrStyle(raw, at, tag, end);
  return enterElement(raw, at, tag, end, isAlike);
}

// Whether this is no tag to browsers, and some of it will not go as what looks like one: that ends with the
// first '>' and with the line.
bool MarkupAligner::isShownAsText(std::size_t begin, std::size_t end) const {
  return isShown(begin) && in_.substr(begin, end - begin - 1).find_first_of(u">\n\r") != kNoEnd;
}

std::size_t MarkupAligner::enterElement(Raw raw, std::size_t tagBegin, const TagSpan& tag, std::size_t tagEnd,
                                        bool isAlike) {
  const std::u16string_view parsed = in_.substr(tag.nameBegin, tag.nameEnd - tag.nameBegin);
  for (const std::u16string_view name : {RawTexts::nameOf(Raw::Script), RawTexts::nameOf(Raw::Style)}) {
    // "<style*>" is an element of its own to browsers, and a style to the parser.
    if (parsed.size() == name.size() && startsWithIgnoringAsciiCase(parsed, 0, name)) {
      edits_.replace(tagBegin, tagEnd, kEmptyComment);
      return tagEnd;
    }
  }
  if (isAlike) {
    edits_.coverZeros(tagBegin, tagEnd);
  } else {
    edits_.replace(tagBegin, tagEnd, tagAsBrowsersRead(in_, tagBegin, tag));
  }
  if (raw == Raw::None) return tagEnd;
  if (raw == Raw::Iframe) {
    if (const std::u16string words = inlineFrameWords(view(), tagBegin); !words.empty()) {
      edits_.replace(tagEnd, tagEnd, words);
    }
  }
  if (raw == Raw::Plaintext) {
    shownUntil_ = in_.size();
    return tagEnd;
  }
  const std::size_t endTag = raws_.endTag(raw, tagEnd);
  if (endTag != kNoEnd) raws_.setBarrier(raw, endTag);
  if (raw == Raw::Textarea || raw == Raw::Xmp)
    shownUntil_ = std::max(shownUntil_, std::min(endTag, in_.size()));
  return tagEnd;
}

std::size_t MarkupAligner::enterScriptOrStyle(Raw raw, std::size_t tagBegin, const TagSpan& tag,
                                              std::size_t tagEnd) {
  if (isShown(tagBegin)) return edits_.blankOut(tagBegin, limit());
  if (raw == Raw::Style && inSelect_) {  // some browsers show what stands in a style there
    edits_.replace(tagBegin, tagEnd, kEmptyComment);
    if (const std::size_t endTag = raws_.endTag(raw, tagEnd); endTag != kNoEnd) raws_.setBarrier(raw, endTag);
    return tagEnd;
  }
  const std::u16string_view name = RawTexts::nameOf(raw);
  // Browsers take no notice of "/>" here, but it ends the element in the parser and in XHTML.
  const bool closedAtOnce = tag.selfClosing && tag.end == tagEnd;
  if (closedAtOnce || foreign_.possible()) {
    const std::size_t endTag = raws_.endTag(raw, tagEnd);
    if (closedAtOnce || holdsTags(in_.substr(0, std::min(endTag, in_.size())), tagEnd)) {
      if (closedAtOnce) {
        edits_.coverZeros(tagBegin, tagEnd);
      } else {
        edits_.replace(tagBegin, tagEnd, kEmptyComment);
      }
      const bool isOver = closedAtOnce && foreign_.certain();  // to browsers as well
      if (endTag != kNoEnd && !isOver) raws_.setBarrier(raw, endTag);
      return tagEnd;
    }
  }
  const std::size_t endTag = raw == Raw::Script ? raws_.scriptEndTag(tagEnd) : raws_.endTag(raw, tagEnd);
  if (limit() < in_.size() && (endTag == kNoEnd || endTag > limit()))
    return edits_.blankOut(tagBegin, limit());
  if (tag.end != tagEnd) {
    edits_.replace(tagBegin, tagEnd, std::u16string(u"<").append(name).append(u">"));
  } else {
    edits_.coverZeros(tagBegin, tagEnd);
  }
  const std::size_t end = std::min(endTag, in_.size());
  edits_.defuseRawText(tagEnd, end, name);
  return end;
}

std::size_t MarkupAligner::scanEndTag(std::size_t at) {
  if (at + 2 >= in_.size()) return in_.size();
  if (!isAsciiLetter(in_[at + 2])) return isShown(at) ? edits_.blankOut(at, limit()) : scanBogusComment(at);
  const std::size_t end = endOfBrowserTag(view(), at + 2);
  if (end == kNoEnd) return withoutEnd(at);
  if (isShownAsText(at, end)) return edits_.blankOut(at, at + 1);
  foreign_.endTag(in_.substr(at + 2, BrowserTag(view(), at + 2).nameEnd() - at - 2));
  if (isTagNamed(in_, at + 2, u"select")) inSelect_ = false;
  const std::size_t nameEnd = endOfName(in_, at + 2);
  if (in_.find(u'>', nameEnd) + 1 == end) {
    edits_.coverZeros(at, end);
  } else {  // a quoted '>' ends it in the parser
    edits_.replace(nameEnd, end, u">");
  }
  return end;
}

}  // namespace

std::u16string alignedMarkup(std::u16string text) {
  if (findUnit(text, u'\f') != kNoEnd) std::ranges::replace(text, u'\f', u' ');
  MarkupAligner aligner(text);
  if (aligner.run()) text = std::move(aligner).output();
  if (findUnit(text, u'\0') != kNoEnd) std::erase(text, u'\0');
  return text;
}

}  // namespace sifterra
