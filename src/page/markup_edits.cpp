// markup_edits: the output grows as edits come in; the rest of the input is added at the end.
#include "page/markup_edits.h"

#include <algorithm>

#include "page/markup_tags.h"

namespace sifterra {

namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
constexpr std::u16string_view kReplacement = u"\uFFFD";
constexpr std::u16string_view kLessOrZero(u"<\0", 2);

// The parser stops at a raw text of 10 MB. So many units have 8 MB of UTF-8 at most.
constexpr std::size_t kLongestRawText = 8 * 1024 * 1024 / 3;

// Right behind the start tag the parser looks for markup once more: it takes any end tag for one, and these
// elements end a script or a style before they begin.
bool seemsMarkupAtFirst(std::u16string_view text, std::size_t at) {
  constexpr std::u16string_view kClosing[] = {u"</", u"<noscript", u"<body", u"<frameset"};
  return std::ranges::any_of(
      kClosing, [&](std::u16string_view markup) { return startsWithIgnoringAsciiCase(text, at, markup); });
}

}  // namespace

void MarkupEdits::replace(std::size_t begin, std::size_t end, std::u16string_view by) {
  if (!changed_) out_.reserve(in_.size() + in_.size() / 8);
  changed_ = true;
  out_.append(in_.substr(copied_, begin - copied_)).append(by);
  copied_ = end;
}

std::u16string MarkupEdits::output() && {
  out_.append(in_.substr(copied_));
  return std::move(out_);
}

void MarkupEdits::coverZeros(std::size_t begin, std::size_t end) {
  if (!hasZeros_) return;
  const std::u16string_view until = in_.substr(0, end);
  for (std::size_t at = until.find(u'\0', begin); at != kNone; at = until.find(u'\0', at + 1)) {
    replace(at, at + 1, kReplacement);
  }
}

std::size_t MarkupEdits::blankOut(std::size_t begin, std::size_t end) {
  const std::u16string_view until = in_.substr(0, end);
  for (std::size_t at = until.find_first_of(kLessOrZero, begin); at != kNone;
       at = until.find_first_of(kLessOrZero, at + 1)) {
    replace(at, at + 1, in_[at] == u'<' ? std::u16string_view(u" ") : kReplacement);
  }
  return end;
}

void MarkupEdits::defuseRawText(std::size_t begin, std::size_t end, std::u16string_view name) {
  while (end - begin > kLongestRawText) {
    std::size_t cut = begin + kLongestRawText;
    while (cut > begin && ((in_[cut] & 0xFC00) == 0xDC00 || in_[cut - 1] == u'<')) --cut;
    if (cut == begin) cut = begin + kLongestRawText;
    defusePart(begin, cut, name);
    replace(cut, cut, std::u16string(u"</").append(name).append(u"><").append(name).append(u">"));
    begin = cut;
  }
  defusePart(begin, end, name);
}

// To the parser "</scripts" ends a script, or seems to.
void MarkupEdits::defusePart(std::size_t begin, std::size_t end, std::u16string_view name) {
  const std::u16string_view until = in_.substr(0, end);
  for (std::size_t at = until.find_first_of(kLessOrZero, begin); at != kNone;
       at = until.find_first_of(kLessOrZero, at + 1)) {
    if (in_[at] == u'\0') {
      replace(at, at + 1, kReplacement);
    } else if ((at == begin && seemsMarkupAtFirst(until, at)) ||
               (in_.substr(at, 2) == u"</" && startsWithIgnoringAsciiCase(in_, at + 2, name))) {
      replace(at, at + 1, u"<\\");
    }
  }
}

}  // namespace sifterra
