// plain_cleaners.h: the cleaners word for word, one whole string per step, as slow as that is.
//
// What the library's single scans are compared with. Nothing here is shared with them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sifterra::reference {

using Text = std::u16string;

inline std::vector<Text> componentsSeparatedBy(const Text& text, char16_t separator) {
  std::vector<Text> pieces(1);
  for (const char16_t c : text) {
    if (c == separator) {
      pieces.emplace_back();
    } else {
      pieces.back().push_back(c);
    }
  }
  return pieces;
}

struct PlainRange {
  bool found;
  std::size_t location;
  std::size_t length;
};

inline PlainRange rangeOfFirstHTMLTag(const Text& text, std::size_t location, std::size_t length) {
  for (std::size_t open = location; open < location + length; ++open) {
    if (text[open] != u'<') continue;
    for (std::size_t close = open + 1; close < text.size(); ++close) {
      if (text[close] == u'>') return {true, open, close - open + 1};
    }
    return {false, 0, 0};
  }
  return {false, 0, 0};
}

inline Text lightweightStripHTMLTagsForLine(const Text& line) {
  Text result;
  if (line.size() < 2) return result;
  std::size_t p = 0;
  do {
    const PlainRange tag = rangeOfFirstHTMLTag(line, p, line.size() - p);
    if (!tag.found) {
      result += line.substr(p);
      break;
    }
    result += line.substr(p, tag.location - p);
    result += u" ";
    p = tag.location + tag.length;
  } while (line.size() - p > 1);
  return result;
}

inline Text lightweightStripHTMLTags(const Text& text) {
  Text result;
  for (const Text& line : componentsSeparatedBy(text, u'\n')) {
    result += lightweightStripHTMLTagsForLine(line);
    result += u"\n";
  }
  return result;
}

inline Text replacing(const Text& text, const Text& target, const Text& by) {
  Text result;
  std::size_t p = 0;
  while (p < text.size()) {
    if (text.compare(p, target.size(), target) == 0) {
      result += by;
      p += target.size();
    } else {
      result += text[p++];
    }
  }
  return result;
}

inline Text normalizeStrippedHTML(const Text& text) {
  return replacing(replacing(replacing(replacing(text, u"_", u" "), u"-", u" "), u"<", u" "), u">", u" ");
}

inline Text postprocessPlainTextWebPage(const Text& text) {
  return normalizeStrippedHTML(lightweightStripHTMLTags(text));
}

inline Text adultWebSiteTagging(const Text& text) {
  Text result = replacing(text, u"2257", u"TwoTwoFiveSeven (2257)");
  result = replacing(result, u"U.S.C", u"UnitedStatesCode ( U S C )");
  result = replacing(result, u"USC", u"UnitedStatesCode  ( U S C )");
  return replacing(result, u"18", u"OneEight");
}

inline std::vector<Text> getJavascriptLines(const Text& text) {
  std::vector<Text> result;
  for (const Text& statement : componentsSeparatedBy(text, u';')) {
    for (const Text& line : componentsSeparatedBy(statement, u'\n')) result.push_back(line);
  }
  return result;
}

inline Text getStringsFromLine(const Text& line, const Text& token) {
  Text result;
  std::size_t p = 0;
  while (p != line.size()) {
    const std::size_t open = line.find(token, p);
    if (open == Text::npos) break;
    const std::size_t close = line.find(token, open + token.size());
    if (close == Text::npos) break;
    result += line.substr(open + token.size(), close - open - token.size());
    result += u",";
    p = close + token.size();
  }
  return result;
}

inline Text javascriptStripLine(const Text& line) {
  return getStringsFromLine(line, u"\"") + getStringsFromLine(line, u"'");
}

inline Text stripJavascript(const Text& script) {
  Text result;
  for (const Text& line : getJavascriptLines(lightweightStripHTMLTags(script))) {
    const Text strings = javascriptStripLine(line);
    if (!strings.empty()) result += strings + u"\n";
  }
  return result;
}

}  // namespace sifterra::reference
