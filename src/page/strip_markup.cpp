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
  const auto normalized = [](char16_t c) {
    return c == u'_' || c == u'-' || c == u'<' || c == u'>' ? u' ' : c;
  };
  // A block of constant length becomes vector instructions.
  constexpr std::size_t kBlock = 16;
  char16_t* units = text.data();
  std::size_t rest = text.size();
  for (; rest >= kBlock; rest -= kBlock, units += kBlock) {
    for (std::size_t i = 0; i < kBlock; ++i) units[i] = normalized(units[i]);
  }
  for (; rest > 0; --rest, ++units) *units = normalized(*units);
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
