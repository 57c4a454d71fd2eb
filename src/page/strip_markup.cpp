// strip_markup: one forward scan each; nothing is looked at twice.
//
// A line ends the search for a ">", so a text of many "<" without one costs no more than any other.
#include "page/strip_markup.h"

#include "util/unit_search.h"

namespace sifterra {

namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

}  // namespace

void appendLineWithoutTags(std::u16string_view line, std::u16string& out) {
  // Kept: a line of one character is dropped, and so is one character behind the last tag.
  while (line.size() > 1) {
    const std::size_t open = findUnit(line, u'<');
    const std::size_t close = open == kNone ? kNone : findUnit(line, u'>', open + 1);
    if (close == kNone) {
      out.append(line);
      return;
    }
    out.append(line.substr(0, open));
    out.push_back(u' ');
    line.remove_prefix(close + 1);
  }
}

std::u16string textWithoutTags(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size() + 1);
  for (;;) {
    const std::size_t end = findUnit(text, u'\n');
    appendLineWithoutTags(text.substr(0, end), out);
    out.push_back(u'\n');  // kept: behind the last line too
    if (end == kNone) return out;
    text.remove_prefix(end + 1);
  }
}

void normalizePunctuation(std::u16string& text) {
  // One comparison a pass over a short block, so that compilers make vector instructions of it. Comparing
  // with all signs at once would become branches, and the signs stand where nothing foretells them.
  constexpr std::size_t kBlock = 16;
  const auto normalize = [](char16_t* units, std::size_t count) {
    for (const char16_t sign : {u'_', u'-', u'<', u'>'}) {
      for (std::size_t i = 0; i < count; ++i) units[i] = units[i] == sign ? u' ' : units[i];
    }
  };
  const std::size_t whole = text.size() - text.size() % kBlock;
  for (std::size_t at = 0; at < whole; at += kBlock) normalize(text.data() + at, kBlock);
  normalize(text.data() + whole, text.size() - whole);
}

void appendStringsBetween(std::u16string_view line, std::u16string_view token, std::u16string& out) {
  if (token.empty()) return;
  while (!line.empty()) {
    const std::size_t open = line.find(token);
    if (open == kNone) return;
    line.remove_prefix(open + token.size());
    const std::size_t close = line.find(token);
    if (close == kNone) return;  // an unclosed string is dropped
    out.append(line.substr(0, close));
    out.push_back(u',');
    line.remove_prefix(close + token.size());
  }
}

}  // namespace sifterra
