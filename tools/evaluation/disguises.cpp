// How: letter by letter where letters are replaced or parted, in every place that holds text; by moving text
// where a place itself is the disguise. What a place cannot show disguised (a title has no tags in it) moves
// into the body, so that nothing is left in clear.
#include "evaluation/disguises.h"

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "evaluation/letter_disguises.h"
#include "evaluation/page_pieces.h"
#include "evaluation/word_runs.h"

namespace sifterra::tools {
namespace {

using Runs = std::vector<WordRun>;
using RewriteRun = std::function<std::string(const WordRun&)>;

std::string rewritten(const std::string& text, const RewriteRun& word, bool asHtml) {
  std::string result;
  for (const WordRun& run : wordRuns(text)) {
    if (run.kind != WordRun::Kind::kGap) {
      result += word(run);
    } else {
      result += asHtml ? escapedText(run.text()) : run.text();
    }
  }
  return result;
}

// Every word in every place.
std::string everywhere(const DisguisedPage& page, const RewriteRun& word) {
  std::vector<PagePiece> pieces = pagePieces(page.html);
  for (PagePiece& piece : pieces) {
    if (piece.place != TextPlace::kMarkup) piece.text = rewritten(piece.text, word, false);
  }
  return pageOf(pieces);
}

// The same where the words become HTML that may stand in every place: character references.
std::string everywhereAsHtml(const DisguisedPage& page, const RewriteRun& word) {
  std::vector<PagePiece> pieces = pagePieces(page.html);
  for (PagePiece& piece : pieces) {
    if (piece.place != TextPlace::kMarkup) piece = {TextPlace::kMarkup, rewritten(piece.text, word, true)};
  }
  return pageOf(pieces);
}

void insertAtEndOfBody(std::string& html, const std::string& more) {
  std::size_t at = std::string::npos;
  for (const char* end : {"</body", "</BODY", "</html", "</HTML"}) {
    if (at == std::string::npos) at = html.rfind(end);
  }
  html.insert(std::min(at, html.size()), more);
}

std::string paragraphs(const std::string& text) {
  std::string html;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('\n', from), text.size());
    if (end > from) html += "<p>" + escapedText(text.substr(from, end - from)) + "</p>\n";
    from = end + 1;
  }
  return html;
}

// Words of the body as HTML with elements in them; the text of the other places moves into the body.
std::string inElements(const DisguisedPage& page, const RewriteRun& word) {
  std::vector<PagePiece> pieces = pagePieces(page.html);
  std::string moved;
  for (PagePiece& piece : pieces) {
    if (piece.place == TextPlace::kMarkup) continue;
    const std::string html = rewritten(piece.text, word, true);
    if (piece.place == TextPlace::kText) {
      piece = {TextPlace::kMarkup, html};
    } else {
      moved += "<p>" + html + "</p>\n";
      piece.text.clear();
    }
  }
  std::string html = pageOf(pieces);
  insertAtEndOfBody(html, moved);
  return html;
}

std::uint64_t seedOf(const DisguisedPage& page) {
  return stableHash(page.html);
}

bool tells(const DisguisedPage& page, const WordRun& run) {
  const std::vector<std::string> keys = wordKeys(run);
  return std::any_of(keys.begin(), keys.end(), [&](const std::string& key) { return page.texts.tells(key); });
}

std::string leet(const DisguisedPage& page) {
  return everywhere(page, leetWord);
}

std::string zeroWidth(const DisguisedPage& page) {
  return everywhere(page, [](const WordRun& run) { return partedWord(run, {"\u200B", "\u2060"}); });
}

std::string lookAlike(const DisguisedPage& page) {
  return everywhere(page, lookAlikeWord);
}

std::string softHyphen(const DisguisedPage& page) {
  return everywhereAsHtml(page, [](const WordRun& run) { return partedWord(run, {"&shy;"}); });
}

std::string references(const DisguisedPage& page) {
  return everywhereAsHtml(page, referencedWord);
}

std::string spaced(const DisguisedPage& page) {
  const std::uint64_t seed = seedOf(page);
  return everywhere(
      page, [&](const WordRun& run) { return tells(page, run) ? spacedWord(run, seed) : run.text(); });
}

std::string spacedAll(const DisguisedPage& page) {
  const std::uint64_t seed = seedOf(page);
  return everywhere(page, [&](const WordRun& run) { return spacedWord(run, seed); });
}

std::string misspelt(const DisguisedPage& page) {
  const std::uint64_t seed = seedOf(page);
  return everywhere(
      page, [&](const WordRun& run) { return tells(page, run) ? misspeltWord(run, seed) : run.text(); });
}

std::string misspeltAll(const DisguisedPage& page) {
  const std::uint64_t seed = seedOf(page);
  return everywhere(page, [&](const WordRun& run) { return misspeltWord(run, seed); });
}

std::string glued(const DisguisedPage& page) {
  const std::uint64_t seed = seedOf(page);
  std::vector<PagePiece> pieces = pagePieces(page.html);
  for (PagePiece& piece : pieces) {
    if (piece.place != TextPlace::kMarkup) piece.text = gluedText(piece.text, seed);
  }
  return pageOf(pieces);
}

std::string tags(const DisguisedPage& page) {
  return inElements(page, [](const WordRun& run) {
    WordRun head = run;
    WordRun tail = run;
    const auto middle = static_cast<std::ptrdiff_t>((run.letters.size() + 1) / 2);
    head.letters.erase(head.letters.begin() + middle, head.letters.end());
    tail.letters.erase(tail.letters.begin(), tail.letters.begin() + middle);
    return tail.letters.empty() ? head.text() : head.text() + "<b></b>" + tail.text();
  });
}

std::string tagsLetters(const DisguisedPage& page) {
  return inElements(page, [](const WordRun& run) { return partedWord(run, {"<i></i>"}); });
}

std::size_t textBytes(std::string_view html) {
  std::size_t bytes = 0;
  for (const PagePiece& piece : pagePieces(html))
    bytes += piece.place == TextPlace::kMarkup ? 0 : piece.text.size();
  return bytes;
}

std::string withOrdinaryText(const DisguisedPage& page, std::size_t times) {
  std::string html(page.html);
  const std::string text = page.texts.ordinaryText(page.language, seedOf(page), times * textBytes(page.html));
  insertAtEndOfBody(html, paragraphs(text));
  return html;
}

std::string ordinaryHead(const DisguisedPage& page) {
  const OrdinaryPage& ordinary = page.texts.ordinaryPage(page.language, seedOf(page));
  std::vector<PagePiece> pieces = pagePieces(page.html);
  bool title = false;
  bool description = false;
  bool keywords = false;
  const auto put = [](PagePiece& piece, const std::string& text, bool& done) {
    piece.text = done ? "" : text;
    done = true;
  };
  for (PagePiece& piece : pieces) {
    if (piece.place == TextPlace::kTitle) put(piece, ordinary.title, title);
    if (piece.place == TextPlace::kDescription) put(piece, ordinary.description, description);
    if (piece.place == TextPlace::kKeywords) put(piece, ordinary.keywords, keywords);
  }
  std::string html = pageOf(pieces);
  std::string missing;
  if (!title) missing += "<title>" + escapedText(ordinary.title) + "</title>\n";
  if (!description)
    missing += "<meta name=\"description\" content=\"" + escapedText(ordinary.description) + "\">\n";
  if (!keywords) missing += "<meta name=\"keywords\" content=\"" + escapedText(ordinary.keywords) + "\">\n";
  const std::size_t head = html.find("<head>");
  html.insert(head == std::string::npos ? 0 : head + 6, missing);
  return html;
}

// A page of the text alone, each piece wrapped.
std::string rebuilt(const DisguisedPage& page, const std::function<std::string(const std::string&)>& wrap) {
  std::string html = "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n</head>\n<body>\n";
  for (const PagePiece& piece : pagePieces(page.html)) {
    if (piece.place != TextPlace::kMarkup) html += wrap(piece.text);
  }
  return html + "</body>\n</html>\n";
}

std::string altOnly(const DisguisedPage& page) {
  return rebuilt(page, [](const std::string& text) {
    return "<img src=\"" + std::to_string(stableHash(text) % 100000) + ".jpg\" alt=\"" + escapedText(text) +
           "\">\n";
  });
}

// What would end the string, the statement or the element is left out.
std::string scriptStrings(const DisguisedPage& page) {
  return rebuilt(page, [](const std::string& text) {
    std::string string;
    for (const char c : text) {
      constexpr std::string_view kEnds = "\"'\\;<>\r\n";
      string += kEnds.find(c) == std::string_view::npos ? c : ' ';
    }
    return "<script>document.write(\"" + string + "\");</script>\n";
  });
}

constexpr std::array kDisguises = {
    Disguise{"leet", "signs and digits for half of the letters of each word", false, leet},
    Disguise{"zero-width", "an invisible character between all letters", false, zeroWidth},
    Disguise{"homoglyph", "each letter replaced by its look-alike of another alphabet", false, lookAlike},
    Disguise{"spaced", "the telling words' letters apart", false, spaced},
    Disguise{"spaced-all", "all words' letters apart", false, spacedAll},
    Disguise{"glued", "two or three words written as one", false, glued},
    Disguise{"misspelt", "one mistake in each longer telling word", false, misspelt},
    Disguise{"misspelt-all", "one mistake in each longer word", false, misspeltAll},
    Disguise{"append-1", "as much ordinary text behind the page's", true,
             [](const DisguisedPage& page) { return withOrdinaryText(page, 1); }},
    Disguise{"append-3", "three times as much ordinary text", true,
             [](const DisguisedPage& page) { return withOrdinaryText(page, 3); }},
    Disguise{"append-10", "ten times as much ordinary text", true,
             [](const DisguisedPage& page) { return withOrdinaryText(page, 10); }},
    Disguise{"ordinary-head", "title, description and keywords of an ordinary page", true, ordinaryHead},
    Disguise{"tags", "an empty element in the middle of each word", false, tags},
    Disguise{"tags-letters", "an empty element between all letters", false, tagsLetters},
    Disguise{"soft-hyphen", "a soft hyphen between all letters", false, softHyphen},
    Disguise{"entities", "every letter as a character reference", false, references},
    Disguise{"alt-only", "all text in alternative texts of images", false, altOnly},
    Disguise{"script-strings", "all text in strings of scripts, which the judged text leaves out", false,
             scriptStrings},
};

}  // namespace

std::span<const Disguise> allDisguises() {
  return kDisguises;
}

}  // namespace sifterra::tools
