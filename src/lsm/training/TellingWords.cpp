#include "lsm/training/TellingWords.h"

#include <algorithm>
#include <unordered_map>

#include "lsm/NearWords.h"

namespace sifterra::lsm {
namespace {

struct PageCounts {
  std::uint32_t last = 0;
  std::uint32_t others = 0;
};

struct CountedPages {
  std::vector<PageCounts> ofWord;
  double last = 0;
  double others = 0;
};

// Of this process's pages, then of all as far as known words go.
CountedPages countPages(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                        const Reduction& reduction) {
  CountedPages counted;
  counted.ofWord.resize(corpus.words().size());
  for (const CorpusPage& page : corpus.pages()) {
    if (page.calibrates) continue;
    const bool isLast = page.category + 1 == corpus.categoryCount();
    ++(isLast ? counted.last : counted.others);
    for (const WordCount& word : page.words) {
      PageCounts& pages = counted.ofWord[word.word];
      ++(isLast ? pages.last : pages.others);
    }
  }
  counted.last = reduction.sum(counted.last);
  counted.others = reduction.sum(counted.others);
  std::vector<double> sums;
  for (const std::uint32_t word : vocabulary.known()) {
    sums.push_back(counted.ofWord[word].last);
    sums.push_back(counted.ofWord[word].others);
  }
  reduction.sum(sums.data(), sums.size());
  for (std::size_t i = 0; i < vocabulary.known().size(); ++i) {
    counted.ofWord[vocabulary.known()[i]] = {static_cast<std::uint32_t>(sums[2 * i]),
                                             static_cast<std::uint32_t>(sums[2 * i + 1])};
  }
  return counted;
}

// The places in the vocabulary, those in most pages first.
std::vector<std::uint32_t> chosen(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                                  const CountedPages& counted, const TellingWordOptions& options) {
  std::vector<std::uint32_t> words;
  const auto pagesOf = [&](std::uint32_t word) { return counted.ofWord[vocabulary.known()[word]]; };
  for (std::uint32_t i = 0; i < vocabulary.known().size(); ++i) {
    const PageCounts pages = pagesOf(i);
    if (!mayBeNear(corpus.words()[vocabulary.known()[i]].token()) || pages.last < options.leastPages)
      continue;
    // Half a page more than was seen: none seen does not mean that there is none.
    const double inOthers = (pages.others + 0.5) / std::max(counted.others, 1.0);
    if (pages.last / counted.last >= options.leastRatio * inOthers) words.push_back(i);
  }
  std::stable_sort(words.begin(), words.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return pagesOf(a).last > pagesOf(b).last; });
  if (words.size() > options.mostWords) words.resize(options.mostWords);
  return words;
}

}  // namespace

std::vector<NearKey> tellingWordKeys(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                                     const TellingWordOptions& options, const Reduction& reduction) {
  constexpr std::size_t kMostOfOneKey = 8;
  const CountedPages counted = countPages(corpus, vocabulary, reduction);
  std::vector<NearKey> all;
  std::unordered_multimap<std::uint64_t, std::uint32_t> byKey;  // places in `all`; only looked into
  NearKeys keys;
  for (const std::uint32_t word : chosen(corpus, vocabulary, counted, options)) {
    nearKeys(corpus.words()[vocabulary.known()[word]].text, keys);
    for (std::size_t i = 0; i < keys.count; ++i) {
      if (std::find(keys.key, keys.key + i, keys.key[i]) != keys.key + i) continue;  // "oo" without either
      if (byKey.count(keys.key[i]) >= kMostOfOneKey) continue;
      byKey.emplace(keys.key[i], static_cast<std::uint32_t>(all.size()));
      all.push_back({keys.key[i], word});
    }
  }
  std::vector<double> misleads(all.size(), 0);  // in how many processes
  std::vector<bool> isKnown(corpus.words().size(), false);
  for (const std::uint32_t word : vocabulary.known()) isKnown[word] = true;
  for (std::uint32_t word = 0; word < corpus.words().size(); ++word) {
    const Token token = corpus.words()[word].token();
    if (isKnown[word] || counted.ofWord[word].others == 0 || !mayBeNear(token)) continue;
    nearKeys(token.text, keys);
    for (std::size_t i = 0; i < keys.count; ++i) {
      const auto [from, to] = byKey.equal_range(keys.key[i]);
      for (auto found = from; found != to; ++found) {
        const std::string& telling = corpus.words()[vocabulary.known()[all[found->second].word]].text;
        if (isOneMistakeApart(token.text, telling)) misleads[found->second] = 1;
      }
    }
  }
  reduction.sum(misleads.data(), misleads.size());
  std::vector<NearKey> result;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (misleads[i] == 0) result.push_back(all[i]);
  }
  return result;
}

}  // namespace sifterra::lsm
