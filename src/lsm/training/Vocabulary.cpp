#include "lsm/training/Vocabulary.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "lsm/NGrams.h"
#include "lsm/WordSplitter.h"

namespace sifterra::lsm {
namespace {

bool judged(const CorpusWord& word, WordScriptSet scripts) {
  return word.script == WordScript::kCommon || (scripts & bitOf(word.script)) != 0;
}

using ScriptCounts = std::array<double, 64>;

// Pages in which at least a tenth of the words are of a script. Japanese writes in two scripts, and names are
// Latin everywhere, so the commonest script of a page will not do.
ScriptCounts pagesByScript(const TrainingCorpus& corpus, bool firstCategoryOnly, const Reduction& reduction) {
  constexpr std::uint64_t kShare = 10;
  ScriptCounts pages{};
  for (const CorpusPage& page : corpus.pages()) {
    if (firstCategoryOnly && page.category != 0) continue;
    std::array<std::uint64_t, 64> words{};
    std::uint64_t all = 0;
    for (const WordCount& word : page.words) {
      const WordScript script = corpus.words()[word.word].script;
      if (script == WordScript::kCommon) continue;
      words[static_cast<std::size_t>(script)] += word.count;
      all += word.count;
    }
    for (std::size_t s = 0; s < words.size(); ++s)
      pages[s] += words[s] != 0 && words[s] * kShare >= all ? 1 : 0;
  }
  reduction.sum(pages.data(), pages.size());
  return pages;
}

// By the number of the script.
constexpr std::array<const char*, 27> kScriptNames = {
    "common",  "Latin",    "Greek",    "Cyrillic", "Han",      "kana",     "Hangul",
    "Thai",    "Lao",      "Khmer",    "Burmese",  "Arabic",   "Hebrew",   "Devanagari",
    "Bengali", "Tamil",    "Telugu",   "Gujarati", "Gurmukhi", "Kannada",  "Malayalam",
    "Sinhala", "Georgian", "Armenian", "Ethiopic", "Tibetan",  "Mongolian"};

}  // namespace

Vocabulary::Vocabulary(const TrainingCorpus& corpus, const VocabularyOptions& options) {
  if (options.chosen != nullptr) {
    _known = options.chosen->words;
    _splitCosts = options.chosen->splitCosts;
  } else {
    choose(corpus, options);
  }
  resolve(corpus, options.scripts);
}

// The best words by the sum over the categories of the share of pages that hold them: a category with few
// pages has as much to say as one with many.
void Vocabulary::choose(const TrainingCorpus& corpus, const VocabularyOptions& options) {
  const std::size_t count = corpus.words().size();
  const std::size_t categories = corpus.categoryCount();
  std::vector<std::uint32_t> pages(count, 0);
  std::vector<std::uint32_t> pagesIn(count * categories, 0);
  std::vector<double> pagesOfCategory(categories, 0.0);
  double teaching = 0;
  for (const CorpusPage& page : corpus.pages()) {
    if (page.calibrates) continue;
    ++teaching;
    ++pagesOfCategory[page.category];
    for (const WordCount& word : page.words) {
      ++pages[word.word];
      ++pagesIn[word.word * categories + page.category];
    }
  }
  std::vector<double> rank(count, 0.0);
  for (std::uint32_t w = 0; w < count; ++w) {
    if (pages[w] < options.minPages || !judged(corpus.words()[w], options.scripts)) continue;
    _known.push_back(w);
    for (std::size_t c = 0; c < categories; ++c) {
      if (pagesOfCategory[c] > 0) rank[w] += pagesIn[w * categories + c] / pagesOfCategory[c];
    }
  }
  const auto byText = [&](std::uint32_t a, std::uint32_t b) {
    return corpus.words()[a].text < corpus.words()[b].text;
  };
  std::sort(_known.begin(), _known.end(), [&](std::uint32_t a, std::uint32_t b) {
    return rank[a] != rank[b] ? rank[a] > rank[b] : byText(a, b);
  });
  if (_known.size() > options.maxWords) _known.resize(options.maxWords);
  std::sort(_known.begin(), _known.end(), byText);
  for (const std::uint32_t w : _known) {
    _splitCosts.push_back(static_cast<float>(-std::log(static_cast<double>(pages[w]) / teaching)));
  }
}

void Vocabulary::resolve(const TrainingCorpus& corpus, WordScriptSet scripts) {
  const std::vector<CorpusWord>& words = corpus.words();
  std::vector<std::uint32_t> term(words.size(), kUnknown);
  for (std::uint32_t i = 0; i < _known.size(); ++i) term[_known[i]] = i;
  std::vector<bool> taught(words.size(), false);  // words of calibration pages alone teach nothing
  for (const CorpusPage& page : corpus.pages()) {
    if (page.calibrates) continue;
    for (const WordCount& word : page.words) taught[word.word] = true;
  }
  const auto lookUp = [&](std::string_view piece, std::uint32_t& known, float& cost) {
    const std::uint32_t number = corpus.find(piece);
    if (number == TrainingCorpus::kNoWord || term[number] == kUnknown) return false;
    known = term[number];
    cost = _splitCosts[known];
    return true;
  };
  _firstTerm.reserve(words.size() + 1);
  for (std::uint32_t w = 0; w < words.size(); ++w) {
    _firstTerm.push_back(_terms.size());
    if (term[w] != kUnknown) {
      _terms.push_back(term[w]);
      continue;
    }
    if (!taught[w] || !judged(words[w], scripts)) continue;
    const WordSplit split = splitWord(words[w].token(), lookUp);
    _terms.insert(_terms.end(), split.word.begin(),
                  split.word.begin() + static_cast<std::ptrdiff_t>(split.count));
    if (split.count == 0 && hasNGrams(words[w].token())) {
      _terms.push_back(static_cast<std::uint32_t>(_known.size() + _spelt.size()));
      _spelt.push_back(w);
    }
  }
  _firstTerm.push_back(_terms.size());
}

WordScriptSet scriptsWithEnoughPages(const TrainingCorpus& corpus, std::size_t minPages,
                                     const Reduction& reduction) {
  const ScriptCounts pages = pagesByScript(corpus, true, reduction);
  WordScriptSet scripts = bitOf(WordScript::kCommon);
  for (std::size_t s = 0; s < pages.size(); ++s) {
    if (pages[s] >= static_cast<double>(minPages)) scripts |= WordScriptSet{1} << s;
  }
  return scripts;
}

std::vector<std::string> scriptsLeftOut(const TrainingCorpus& corpus, WordScriptSet scripts,
                                        const Reduction& reduction) {
  const ScriptCounts pages = pagesByScript(corpus, false, reduction);
  std::vector<std::string> names;
  for (std::size_t s = 0; s < pages.size(); ++s) {
    if (pages[s] == 0 || (scripts >> s & 1U) != 0) continue;
    names.emplace_back(s < kScriptNames.size() ? kScriptNames[s] : "others");
  }
  return names;
}

}  // namespace sifterra::lsm
