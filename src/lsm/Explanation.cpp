#include "lsm/Explanation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>

#include "lsm/WordTrace.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {
namespace {

constexpr std::size_t kMostWritten = 3;      // forms of one word
constexpr std::size_t kLongestWritten = 40;  // characters of one
constexpr std::size_t kLongestRun = 200;     // units of the source that are looked at for a form
constexpr std::size_t kExcerptUnits = 12;    // that say it, and around them on either side
constexpr std::size_t kExcerptAround = 6;
constexpr std::size_t kRestOfLine = 60;       // characters of the source
constexpr std::size_t kLongestExcerpt = 300;  // characters of the source

struct Share {
  std::uint32_t unit;
  std::uint32_t count;
  double value;
};

// What the last category is measured against: each other one as likely as it is in this stretch.
std::vector<double> contrast(const Map& map, const std::vector<float>& logits) {
  const std::size_t others = logits.size() - 1;
  std::vector<double> beta(map.head(static_cast<std::uint32_t>(others)),
                           map.head(static_cast<std::uint32_t>(others)) + map.stride());
  double most = -INFINITY;
  for (std::size_t c = 0; c < others; ++c) most = std::max(most, static_cast<double>(logits[c]));
  double sum = 0;
  for (std::size_t c = 0; c < others; ++c) sum += std::exp(static_cast<double>(logits[c]) - most);
  for (std::size_t c = 0; c < others; ++c) {
    const double weight = std::exp(static_cast<double>(logits[c]) - most) / sum;
    const float* head = map.head(static_cast<std::uint32_t>(c));
    for (std::size_t d = 0; d < beta.size(); ++d) beta[d] -= weight * static_cast<double>(head[d]);
  }
  return beta;
}

double product(const WeightedRow& row, const std::vector<double>& beta) {
  double dot = 0;
  for (std::size_t d = 0; d < beta.size(); ++d) {
    const float value = row.quantised != nullptr ? static_cast<float>(row.quantised[d]) : row.plain[d];
    dot += static_cast<double>(value) * beta[d];
  }
  return dot * static_cast<double>(row.factor);
}

// The shares of the words of a stretch, from what its judging left in the scratch: rows with their factors,
// the units they belong to, their sum and its logits.
std::vector<Share> sharesOf(const Map& map, const EvaluationScratch& scratch) {
  double squares = 0;
  for (const float value : scratch.sum) squares += static_cast<double>(value) * static_cast<double>(value);
  const double length = std::sqrt(squares);
  const double inverse = length < static_cast<double>(kMinLength) ? 0 : 1 / length;
  const std::vector<double> beta = contrast(map, scratch.logits);
  std::vector<Share> shares;
  shares.reserve(scratch.rows.size());
  for (std::size_t i = 0; i < scratch.rows.size(); ++i) {
    const std::uint32_t unit = scratch.units[i];
    shares.push_back({unit, scratch.count[unit], product(scratch.rows[i], beta) * inverse});
  }
  return shares;
}

bool isFixedWord(std::string_view word) {
  return word.find("ooooooo") != std::string_view::npos;
}

// Number classes and tag words say nothing to a reader.
std::string meaningOf(std::string_view word) {
  if (word.size() == 2 && word[0] == '#' && word[1] >= '1' && word[1] <= '6') {
    constexpr std::string_view kNumbers[] = {"a number of one digit",    "a number of two digits",
                                             "a number of three digits", "a number of four digits",
                                             "a number of five digits",  "a number of six digits or more"};
    return std::string(kNumbers[word[1] - '1']);
  }
  constexpr std::string_view kTag = "webfiltertag";
  if (!word.ends_with(kTag) || word.size() == kTag.size()) return {};
  const std::string_view name = word.substr(0, word.size() - kTag.size());
  if (name == "eighteen") return "the page says 18";
  if (name == "twotwofiveseven") return "the page names the record-keeping law 2257";
  if (name == "unitedstatescode") return "the page names the United States Code";
  if (name == "sixtynine") return "the page says 69";
  return "the page's tag " + std::string(name);
}

std::uint32_t sectionBit(const Text& text, std::size_t at) {
  if (!text.sections().any()) return 0;
  for (std::size_t section = 0; section < kTextSections; ++section) {
    const auto one = static_cast<TextSection>(section);
    const UnitRange range = text.sections().range(one, one, text.sequence().size());
    if (at >= range.from && at < range.to) return 1U << section;
  }
  return 0;
}

std::string shortened(std::string text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  std::size_t end = bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end) + "\u2026";
}

// What surrounds a word in print and is no part of it.
std::u16string_view withoutPunctuation(std::u16string_view text) {
  const auto plain = [](char16_t c) {
    return platform::isLetter(c) || platform::isDecimalDigit(c) || platform::isMark(c) || c >= 0xD800 ||
           c == u'@' || c == u'$' || c == u'!';
  };
  while (!text.empty() && (!plain(text.front()) || text.front() == u'!')) text.remove_prefix(1);
  while (!text.empty() && (!plain(text.back()) || text.back() == u'!')) text.remove_suffix(1);
  return text;
}

// Collects how and where the words of a stretch are written.
class Surfaces {
 public:
  Surfaces(const Text& text, const WordTrace& trace) : text_(text), trace_(trace) {}

  // One more place where the unit stands.
  void add(std::size_t at, ExplainedWord& word) {
    word.sections |= sectionBit(text_, at);
    if (at >= trace_.origins.size() || word.written.size() >= kMostWritten) return;
    const UnitOrigin& origin = trace_.origins[at];
    const std::string& token = trace_.tokens[origin.token];
    const std::u16string_view source =
        std::u16string_view(text_.source()).substr(origin.from, origin.to - origin.from);
    // Of a long run (an address, a list without blanks) the word as it was read says more; and a page may be
    // one run, which is not to be looked at for each of its words.
    const bool isLong = source.size() > kLongestRun;
    if (!word.meaning.empty() || (token == word.word && (isLong || holds(source, token)))) return;
    std::string form = isLong ? token : shownText(withoutPunctuation(source));
    if (form.empty() || form.size() > kLongestWritten) form = token;
    if (form == word.word) return;
    if (std::find(word.written.begin(), word.written.end(), form) == word.written.end())
      word.written.push_back(std::move(form));
  }

 private:
  // Whether the source spells the token out, in whatever case, and hides nothing in it.
  static bool holds(std::u16string_view source, const std::string& token) {
    for (std::size_t i = 0; i < source.size();) {
      if (platform::isFormatCharacter(platform::nextCharacter(source, i))) return false;
    }
    std::u16string folded;
    platform::appendNFKCCaseFolded(source, folded);
    return platform::utf8FromUTF16(folded).find(token) != std::string::npos;
  }

  const Text& text_;
  const WordTrace& trace_;
};

// Where a stretch says most plainly what it is: the units in a row with the highest shares, and some around.
std::string excerptOf(const Text& text, const WordTrace& trace, const Stretch& stretch,
                      const std::vector<double>& shareOfOne) {
  const UnitRange units{stretch.units.from, std::min(stretch.units.to, trace.origins.size())};
  if (units.from >= units.to) return {};
  const auto share = [&](std::size_t at) { return shareOfOne[text.sequence()[at]]; };
  const std::size_t size = std::min(kExcerptUnits, units.size());
  double sum = 0;
  for (std::size_t i = units.from; i < units.from + size; ++i) sum += share(i);
  double most = sum;
  std::size_t best = units.from;
  for (std::size_t from = units.from + 1; from + size <= units.to; ++from) {
    sum += share(from + size - 1) - share(from - 1);
    if (sum > most) {
      most = sum;
      best = from;
    }
  }
  const std::size_t first = best - std::min(best - units.from, kExcerptAround);
  const std::size_t last = std::min(best + size + kExcerptAround, units.to) - 1;
  std::u16string_view source(text.source());
  std::size_t from = trace.origins[first].from;
  std::size_t to = trace.origins[last].to;
  // The rest of a line that is nearly whole.
  const std::size_t lineStart = source.substr(0, from).rfind(u'\n') + 1;  // 0 without one
  const std::size_t lineStop = std::min(source.find(u'\n', to), source.size());
  if (from - lineStart <= kRestOfLine) from = lineStart;
  if (lineStop - to <= kRestOfLine) to = lineStop;
  source = source.substr(from, to - from);
  // Line by line: repeated lines once, markers not at all.
  std::string excerpt;
  std::string lastLine;
  while (!source.empty()) {
    const std::size_t end = std::min(source.find(u'\n'), source.size());
    std::string line = shownText(source.substr(0, std::min(end, kLongestExcerpt)));
    source.remove_prefix(std::min(end + 1, source.size()));
    if (line.empty() || line == lastLine || isFixedWord(line)) continue;
    if (!excerpt.empty()) excerpt += " / ";
    excerpt += line;
    lastLine = std::move(line);
    if (excerpt.size() > kLongestExcerpt) break;
  }
  return shortened(std::move(excerpt), kLongestExcerpt);
}

// Judges the stretch once more, alone, so that the scratch holds its rows.
void judgeAlone(const Map& map, Text& text, const Stretch& stretch) {
  EvaluationScratch& scratch = text.scratch;
  if (stretch.kind != StretchKind::kWhole) {
    static_cast<void>(oddsOf(map, text, stretch.units));
    return;
  }
  sumWholeText(map, text);
  scratch.units.resize(text.unitCount());
  scratch.count.resize(text.unitCount());
  for (std::size_t unit = 0; unit < text.unitCount(); ++unit) {
    scratch.units[unit] = static_cast<std::uint32_t>(unit);
    scratch.count[unit] = text.frequency(unit);
  }
}

}  // namespace

Explanation explain(const Map& map, Text& text) {
  Explanation explanation;
  explanation.judgement = judge(map, text, true);
  if (map.categoryCount() < 2) return explanation;
  const Stretch& stretch = explanation.judgement.decided;
  judgeAlone(map, text, stretch);
  const EvaluationScratch& scratch = text.scratch;
  const std::vector<Share> shares = sharesOf(map, scratch);
  double sum = 0;
  std::vector<double> shareOfOne(text.unitCount(), 0);
  std::vector<std::size_t> wordOf(text.unitCount(), SIZE_MAX);
  for (const Share& share : shares) {
    sum += share.value;
    const bool known = text.knownWord(share.unit) != Map::kUnknownWord;
    if (!known && share.value == 0) continue;  // the map is silent about its letters
    shareOfOne[share.unit] = share.value / share.count;
    wordOf[share.unit] = explanation.words.size();
    ExplainedWord word;
    if (!known) {
      word.nature = WordNature::kUnknown;
    } else {
      word.word = map.word(text.knownWord(share.unit));
      word.meaning = meaningOf(word.word);
      if (isFixedWord(word.word)) word.nature = WordNature::kFixed;
    }
    word.share = share.value;
    word.count = share.count;
    explanation.words.push_back(std::move(word));
  }
  explanation.odds = oddsOfLogits(scratch.logits);
  explanation.start = explanation.odds - sum;
  const WordTrace trace = traceWords(text);
  Surfaces surfaces(text, trace);
  for (std::size_t at = 0; at < text.sequence().size(); ++at) {
    const bool inside = at >= stretch.units.from && at < stretch.units.to;
    const std::size_t index = wordOf[text.sequence()[at]];
    if (index == SIZE_MAX) continue;
    ExplainedWord& word = explanation.words[index];
    if (word.nature == WordNature::kUnknown && word.word.empty() && at < trace.origins.size())
      word.word = trace.tokens[trace.origins[at].token];
    if (inside && word.nature != WordNature::kFixed) surfaces.add(at, word);
  }
  explanation.excerpt = excerptOf(text, trace, stretch, shareOfOne);
  std::sort(explanation.words.begin(), explanation.words.end(),
            [](const ExplainedWord& a, const ExplainedWord& b) {
              return a.share != b.share ? a.share > b.share : a.word < b.word;
            });
  return explanation;
}

}  // namespace sifterra::lsm
