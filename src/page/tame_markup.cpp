// tame_markup: one scan that follows the parser's own idea of tags, texts, comments and raw text.
#include "page/tame_markup.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "page/markup_edits.h"
#include "page/markup_tags.h"
#include "page/open_elements.h"
#include "page/thin_attributes.h"
#include "util/unit_search.h"

namespace sifterra {

namespace {

using Kind = OpenElements::Kind;

constexpr std::size_t kNone = std::u16string_view::npos;
constexpr std::u16string_view kEmptyComment = u"<!---->";  // parts texts as the dropped tag did
constexpr std::u16string_view kEscapedLess = u"&lt;";
constexpr std::size_t kBreakWindow = 4096;    // units searched for a blank to break a long text at
constexpr std::size_t kReferenceWindow = 64;  // units in which a character reference may be cut

class MarkupTamer {
 public:
  MarkupTamer(std::u16string_view in, Unread unread) : in_(in), leaves_(unread == Unread::Left), edits_(in) {}

  // Whether anything was changed; then output() has the result.
  bool run();
  std::u16string output() && { return std::move(edits_).output(); }

 private:
  void scanText(std::size_t begin, std::size_t end);
  std::size_t breakPoint(std::size_t begin, std::size_t at) const;
  std::size_t scanMarkup(std::size_t at);
  std::size_t scanStartTag(std::size_t at);
  std::size_t scanEndTag(std::size_t at);
  std::size_t scanComment(std::size_t at);
  std::size_t scanDoctype(std::size_t at);
  std::size_t scanInstruction(std::size_t at);
  std::size_t scanRawText(std::size_t at, std::u16string_view name);
  bool keepsStartTag(Kind kind) const;
  std::size_t escapeLess(std::size_t at, std::size_t skip);
  OpenElements::Reads reads(OpenElements::Name name) const {
    return leaves_ ? open_.reads(name) : OpenElements::Reads::Unknown;
  }

  std::u16string_view in_;
  bool leaves_;  // out what the page model does not read
  MarkupEdits edits_;
  std::size_t textRun_ = 0;  // UTF-8 bytes of the text that the parser may be collecting
  OpenElements open_;
};

bool MarkupTamer::run() {
  std::size_t at = 0;
  while (at < in_.size()) {
    const std::size_t less = std::min(findUnit(in_, u'<', at), in_.size());
    scanText(at, less);
    if (less == in_.size()) break;
    at = scanMarkup(less);
  }
  return edits_.any();
}

std::size_t utf8Size(std::u16string_view text) {
  std::size_t bytes = 0;
  for (const char16_t c : text) {
    // Half a surrogate pair counts 2, so a pair counts the 4 bytes that it takes.
    bytes += c < 0x80 ? 1U : c < 0x800 || (c & 0xF800) == 0xD800 ? 2U : 3U;
  }
  return bytes;
}

// Texts are parted well before the parser's limit, at a blank where there is one near by.
void MarkupTamer::scanText(std::size_t begin, std::size_t end) {
  if (textRun_ + 3 * (end - begin) <= kLongestTextRun) {  // the usual case, without counting
    textRun_ += 3 * (end - begin);
    return;
  }
  while (begin < end) {
    const std::size_t piece = std::min(end - begin, kBreakWindow);
    const std::size_t bytes = utf8Size(in_.substr(begin, piece));
    if (textRun_ + bytes > kLongestTextRun) {
      const std::size_t cut = breakPoint(begin, begin + piece);
      edits_.replace(cut, cut, kEmptyComment);
      textRun_ = utf8Size(in_.substr(cut, begin + piece - cut));
    } else {
      textRun_ += bytes;
    }
    begin += piece;
  }
}

// Where to part the text begin..at: behind its last blank, else not inside a character or reference.
std::size_t MarkupTamer::breakPoint(std::size_t begin, std::size_t at) const {
  for (std::size_t i = at; i > begin; --i) {
    if (isMarkupBlank(in_[i - 1])) return i;
  }
  std::size_t cut = at;
  const std::size_t from = at - std::min(at - begin, kReferenceWindow);
  const std::size_t reference = in_.substr(0, at).rfind(u'&');
  if (reference != kNone && reference >= from && reference > begin) cut = reference;
  if (cut > begin && cut < in_.size() && (in_[cut] & 0xFC00) == 0xDC00) --cut;
  return cut;
}

std::size_t MarkupTamer::escapeLess(std::size_t at, std::size_t skip) {
  edits_.replace(at, at + 1, kEscapedLess);
  return at + skip;
}

// What starts with the '<' at `at`; answers where to go on.
std::size_t MarkupTamer::scanMarkup(std::size_t at) {
  const char16_t next = at + 1 < in_.size() ? in_[at + 1] : u'\0';
  if (isAsciiLetter(next)) return scanStartTag(at);
  if (next == u'/') return scanEndTag(at);
  if (next == u'?') return scanInstruction(at);
  if (in_.substr(at, 4) == u"<!--") return scanComment(at);
  if (next == u'!' && startsWithIgnoringAsciiCase(in_, at + 2, u"doctype")) return scanDoctype(at);
  scanText(at, at + 1);  // a lone '<' is text
  return at + 1;
}

// The comment ends at the first "-->" or "--!>"; "<!-->" and "<!--->" are empty ones in browsers and
// endless ones in the parser.
std::size_t MarkupTamer::scanComment(std::size_t at) {
  textRun_ = 0;
  for (const std::u16string_view abrupt : {u"<!-->", u"<!--->"}) {
    if (in_.substr(at, abrupt.size()) != abrupt) continue;
    edits_.replace(at, at + abrupt.size(), kEmptyComment);
    return at + abrupt.size();
  }
  for (std::size_t dash = in_.find(u"--", at + 4); dash != kNone; dash = in_.find(u"--", dash + 1)) {
    const std::size_t after = dash + 2;
    const bool plain = after < in_.size() && in_[after] == u'>';
    if (!plain && in_.substr(after, 2) != u"!>") continue;
    // The parser takes its time over comments, and nobody reads them: but the first, which declares the
    // charset, and one in a title, of which it may be the text.
    if (leaves_ && at > 0 && dash > at + 4 && !open_.isTitleOpen()) edits_.replace(at + 4, dash, {});
    return after + (plain ? 1 : 2);
  }
  return in_.size();
}

// A plain declaration is passed over. One with quotes or tags that leave its end in doubt becomes
// text, since what it hides from us the parser may see. Right behind one that stands inside the page the
// parser takes an end tag or another declaration for text; behind a comment it does not.
std::size_t MarkupTamer::scanDoctype(std::size_t at) {
  const std::size_t end = in_.find(u'>', at);
  if (end == kNone) return in_.size();
  const std::u16string_view inside = in_.substr(at + 1, end - at - 1);
  const bool doubtful = inside.find(u'<') != kNone || std::ranges::count(inside, u'"') % 2 != 0 ||
                        std::ranges::count(inside, u'\'') % 2 != 0;
  if (doubtful) return escapeLess(at, 2);
  const std::u16string_view rest = in_.substr(end + 1);
  if (rest.starts_with(u"</") || (rest.starts_with(u"<!") && !rest.starts_with(u"<!--"))) {
    edits_.replace(at, end + 1, u"");
  }
  return end + 1;
}

// "<?name" runs to the next '>', anything else is text. Names outside ASCII are made text.
std::size_t MarkupTamer::scanInstruction(std::size_t at) {
  const char16_t first = at + 2 < in_.size() ? in_[at + 2] : u'\0';
  if (first >= 0x80) return escapeLess(at, 2);
  if (!isAsciiLetter(first) && first != u'_' && first != u':') {
    scanText(at, at + 2);
    return at + 2;
  }
  textRun_ = 0;
  const std::size_t end = in_.find(u'>', at);
  return end == kNone ? in_.size() : end + 1;
}

bool MarkupTamer::keepsStartTag(Kind kind) const {
  if (kind == Kind::RawText) return true;  // nothing nests in it
  return open_.keptDepth() < (kind == Kind::Title ? kMostNestedTitles : kMostNestedElements);
}

std::size_t MarkupTamer::scanStartTag(std::size_t at) {
  const TagSpan tag = parseStartTag(in_, at);
  if (tag.end == in_.size() && in_.back() != u'>') return tag.end;  // cut off: the parser's business
  const OpenElements::Name name = open_.intern(in_.substr(tag.nameBegin, tag.nameEnd - tag.nameBegin));
  const Kind kind = open_.kind(name);
  if (kind == Kind::Document) {  // a second one makes no node, so the text before it may go on
    thinAttributes(in_, tag, reads(name), edits_);
    return tag.end;
  }
  textRun_ = 0;
  const bool nests = kind != Kind::Void && !tag.selfClosing;
  if ((kind == Kind::NeverNests || kind == Kind::Link) && !open_.empty() && open_.top().name == name) {
    open_.pop();
  }
  if (nests && !keepsStartTag(kind)) {
    open_.push(name, false);
    if (kind != Kind::Link && kind != Kind::Frameset) {
      edits_.replace(at, tag.end, kEmptyComment);
      return tag.end;
    }
    // The page model counts these, so they stay, closed at once.
    thinAttributes(in_, tag, reads(name), edits_);
    edits_.replace(tag.end, tag.end, kind == Kind::Link ? u"</a>" : u"</frameset>");
    return tag.end;
  }
  thinAttributes(in_, tag, reads(name), edits_);
  if (!nests) return tag.end;
  if (kind == Kind::RawText) return scanRawText(tag.end, open_.text(name));
  open_.push(name, true);
  return tag.end;
}

// Past the end tag of a script or style, where only that end tag counts. The page model reads no styles.
std::size_t MarkupTamer::scanRawText(std::size_t at, std::u16string_view name) {
  for (std::size_t less = in_.find(u"</", at); less != kNone; less = in_.find(u"</", less + 2)) {
    if (!startsWithIgnoringAsciiCase(in_, less + 2, name)) continue;
    const std::size_t after = less + 2 + name.size();
    const std::size_t close = in_.find(u'>', after);
    if (close == kNone) return in_.size();
    if (after < in_.size() && isNameUnit(in_[after])) {  // "</scripts>" ends nothing
      less = close - 1;
      continue;
    }
    if (leaves_ && name == u"style" && less > at) edits_.replace(at, less, {});
    return close + 1;
  }
  return in_.size();
}

std::size_t MarkupTamer::scanEndTag(std::size_t at) {
  const char16_t first = at + 2 < in_.size() ? in_[at + 2] : u'\0';
  if (first == u'_' || first == u':' || first == u'.') return escapeLess(at, 2);
  if (!isAsciiLetter(first)) {
    scanText(at, at + 2);
    return at + 2;
  }
  const std::size_t nameEnd = endOfName(in_, at + 2);
  const std::size_t close = in_.find(u'>', nameEnd);
  const std::size_t end = close == kNone ? in_.size() : close + 1;
  const OpenElements::Name name = open_.intern(in_.substr(at + 2, nameEnd - at - 2));
  if (open_.kind(name) == Kind::Document || !open_.isOpen(name)) return end;
  const std::size_t closed = open_.closedBy(name);
  if (closed == 0) {  // the parser ignores it too, but for one whose start tag it never saw
    if (!open_.lastIsKept(name)) edits_.replace(at, end, kEmptyComment);
    return end;
  }
  const bool plain = closed == 1 && open_.top().kept;
  if (plain) {
    open_.pop();
    return end;
  }
  std::u16string endTags;
  bool dropped = false;
  for (std::size_t i = 0; i < closed; ++i) {
    const OpenElements::Entry entry = open_.pop();
    dropped |= !entry.kept;
    if (entry.kept) endTags.append(u"</").append(open_.text(entry.name)).append(u">");
  }
  edits_.replace(at, end, dropped ? std::u16string(kEmptyComment) + endTags : endTags);
  return end;
}

}  // namespace

std::u16string tamedMarkup(std::u16string text, Unread unread) {
  MarkupTamer tamer(text, unread);
  if (!tamer.run()) return text;
  return std::move(tamer).output();
}

}  // namespace sifterra
