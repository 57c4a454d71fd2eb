#include "lsm/training/SharedPages.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "lsm/training/packed_bytes.h"
#include "lsm/training/remember_pages.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {
namespace {

std::uint64_t hashOf(std::string_view text) {
  return XXH3_64bits(text.data(), text.size());
}

// What all processes gave, known to all.
std::vector<std::string> gatherForAll(std::string bytes, const Reduction& reduction) {
  std::string packed;
  for (const std::string& part : reduction.gather(std::move(bytes))) packText(packed, part);
  packed = reduction.broadcast(std::move(packed));
  std::vector<std::string> parts;
  for (Unpacking unpacking(packed); !unpacking.atEnd();) parts.emplace_back(unpacking.text());
  return parts;
}

// A word and the pages that hold it, by category.
struct CountedWord {
  TokenKind kind = TokenKind::kWord;
  WordScript script = WordScript::kCommon;
  std::uint8_t characters = 0;
  std::vector<std::uint32_t> pages;
};

struct RankedWord {
  CorpusWord word;
  double rank = 0;
  std::uint64_t pages = 0;
};

// Better first.
bool before(const RankedWord& a, const RankedWord& b) {
  return a.rank != b.rank ? a.rank > b.rank : a.word.text < b.word.text;
}

void keepBest(std::vector<RankedWord>& words, std::size_t most) {
  std::sort(words.begin(), words.end(), before);
  if (words.size() > most) words.resize(most);
}

// What this process counted of each word, by the process that shall sum it.
std::vector<std::string> countsByOwner(const TrainingCorpus& corpus, std::size_t processes) {
  const std::size_t categories = corpus.categoryCount();
  std::vector<std::uint32_t> pages(corpus.words().size() * categories, 0);
  for (const CorpusPage& page : corpus.pages()) {
    if (page.calibrates) continue;
    for (const WordCount& word : page.words) ++pages[word.word * categories + page.category];
  }
  std::vector<std::string> parts(processes);
  for (std::size_t w = 0; w < corpus.words().size(); ++w) {
    const CorpusWord& word = corpus.words()[w];
    std::string& part = parts[hashOf(word.text) % processes];
    packText(part, word.text);
    pack(part, word.kind);
    pack(part, word.script);
    pack(part, word.characters);
    for (std::size_t c = 0; c < categories; ++c) pack(part, pages[w * categories + c]);
  }
  return parts;
}

using CountedWords = std::unordered_map<std::string, CountedWord>;

CountedWords summed(const std::vector<std::string>& parts, std::size_t categories) {
  CountedWords words;
  for (const std::string& part : parts) {
    for (Unpacking unpacking(part); !unpacking.atEnd();) {
      CountedWord& word = words[std::string(unpacking.text())];
      word.kind = unpacking.number<TokenKind>();
      word.script = unpacking.number<WordScript>();
      word.characters = unpacking.number<std::uint8_t>();
      word.pages.resize(categories);
      for (std::uint32_t& pages : word.pages) pages += unpacking.number<std::uint32_t>();
    }
  }
  return words;
}

std::vector<RankedWord> ranked(const CountedWords& words, const std::vector<double>& pagesOfCategory,
                               const VocabularyOptions& options) {
  std::vector<RankedWord> result;
  for (const auto& [text, counted] : words) {
    RankedWord word{{text, counted.kind, counted.script, counted.characters}, 0, 0};
    for (std::size_t c = 0; c < counted.pages.size(); ++c) {
      word.pages += counted.pages[c];
      if (pagesOfCategory[c] > 0) word.rank += counted.pages[c] / pagesOfCategory[c];
    }
    const bool judged =
        word.word.script == WordScript::kCommon || (options.scripts & bitOf(word.word.script)) != 0;
    if (word.pages >= options.minPages && judged) result.push_back(std::move(word));
  }
  return result;
}

// A page that a process would give away.
struct OfferedPage {
  std::uint64_t hash = 0;
  std::uint32_t group = 0;
  std::u16string text;
  std::string site;
};

OfferedPage offered(const TrainingCorpus& corpus, const CorpusPage& page, std::uint32_t group) {
  OfferedPage result{0, group, page.scored.text(), corpus.siteName(page.site)};
  result.hash = XXH3_64bits(result.text.data(), 2 * result.text.size());
  return result;
}

// By group the greatest hash that is still among the first `most` of all processes.
std::vector<std::uint64_t> lastHashes(const std::vector<OfferedPage>& mine, std::size_t groups,
                                      std::size_t most, const Reduction& reduction) {
  std::string bytes;
  for (const OfferedPage& page : mine) {
    pack(bytes, page.group);
    pack(bytes, page.hash);
  }
  std::vector<std::vector<std::uint64_t>> hashes(groups);
  for (const std::string& part : gatherForAll(std::move(bytes), reduction)) {
    for (Unpacking unpacking(part); !unpacking.atEnd();) {
      const auto group = unpacking.number<std::uint32_t>();
      hashes[group].push_back(unpacking.number<std::uint64_t>());
    }
  }
  std::vector<std::uint64_t> last(groups, UINT64_MAX);
  for (std::size_t g = 0; g < groups; ++g) {
    std::sort(hashes[g].begin(), hashes[g].end());
    if (hashes[g].size() > most) last[g] = hashes[g][most - 1];
  }
  return last;
}

// In process 0: of the pages that all offer the first `most` of each group by a hash of their text. None in
// the others.
std::vector<OfferedPage> gatherFirst(std::vector<OfferedPage> mine, std::size_t groups, std::size_t most,
                                     const Reduction& reduction) {
  const std::vector<std::uint64_t> last = lastHashes(mine, groups, most, reduction);
  std::string bytes;
  for (const OfferedPage& page : mine) {
    if (page.hash > last[page.group]) continue;
    pack(bytes, page.hash);
    pack(bytes, page.group);
    packText(bytes, {reinterpret_cast<const char*>(page.text.data()), 2 * page.text.size()});
    packText(bytes, page.site);
  }
  mine.clear();
  for (const std::string& part : reduction.gather(std::move(bytes))) {
    for (Unpacking unpacking(part); !unpacking.atEnd();) {
      OfferedPage page;
      page.hash = unpacking.number<std::uint64_t>();
      page.group = unpacking.number<std::uint32_t>();
      const std::string_view text = unpacking.text();
      page.text.resize(text.size() / 2);
      std::memcpy(page.text.data(), text.data(), text.size());
      page.site = unpacking.text();
      mine.push_back(std::move(page));
    }
  }
  std::sort(mine.begin(), mine.end(), [](const OfferedPage& a, const OfferedPage& b) {
    return a.hash != b.hash ? a.hash < b.hash : a.text < b.text;
  });
  return mine;
}

}  // namespace

void shareSites(TrainingCorpus& corpus, const Reduction& reduction) {
  if (!reduction.distributed()) return;
  // By site: 2 x category, and one more for composed pages.
  std::vector<std::vector<std::uint32_t>> pages(corpus.siteCount());
  for (const CorpusPage& page : corpus.pages()) {
    std::vector<std::uint32_t>& here = pages[page.site];
    const std::size_t kind = 2 * std::size_t{page.category} + (page.composed ? 1 : 0);
    if (here.size() <= kind) here.resize(kind + 1);
    ++here[kind];
  }
  std::string mine;
  for (std::uint32_t s = 0; s < pages.size(); ++s) {
    for (std::uint32_t kind = 0; kind < pages[s].size(); ++kind) {
      if (pages[s][kind] == 0) continue;
      packText(mine, corpus.siteName(s));
      pack(mine, kind);
      pack(mine, pages[s][kind]);
    }
  }
  const std::vector<std::string> all = gatherForAll(std::move(mine), reduction);
  for (std::size_t rank = 0; rank < all.size(); ++rank) {
    if (rank == reduction.rank()) continue;
    for (Unpacking unpacking(all[rank]); !unpacking.atEnd();) {
      const std::string_view site = unpacking.text();
      const auto kind = unpacking.number<std::uint32_t>();
      corpus.addElsewhere(site, kind / 2, unpacking.number<std::uint32_t>(), kind % 2 != 0);
    }
  }
}

ChosenWords chooseSharedWords(TrainingCorpus& corpus, const VocabularyOptions& options,
                              const Reduction& reduction) {
  const std::size_t categories = corpus.categoryCount();
  std::vector<double> pagesOfCategory(categories, 0.0);
  for (const CorpusPage& page : corpus.pages()) pagesOfCategory[page.category] += page.calibrates ? 0 : 1;
  reduction.sum(pagesOfCategory.data(), categories);
  double teaching = 0;
  for (const double pages : pagesOfCategory) teaching += pages;

  CountedWords mine = summed(reduction.exchange(countsByOwner(corpus, reduction.size())), categories);
  ChosenWords chosen;
  chosen.differentWords = static_cast<std::size_t>(reduction.sum(static_cast<double>(mine.size())));
  std::vector<RankedWord> best = ranked(mine, pagesOfCategory, options);
  keepBest(best, options.maxWords);
  std::string bytes;
  for (const RankedWord& word : best) {
    packText(bytes, word.word.text);
    pack(bytes, word.word.kind);
    pack(bytes, word.word.script);
    pack(bytes, word.word.characters);
    pack(bytes, word.rank);
    pack(bytes, word.pages);
  }
  best.clear();
  for (const std::string& part : gatherForAll(std::move(bytes), reduction)) {
    for (Unpacking unpacking(part); !unpacking.atEnd();) {
      RankedWord word;
      word.word.text = unpacking.text();
      word.word.kind = unpacking.number<TokenKind>();
      word.word.script = unpacking.number<WordScript>();
      word.word.characters = unpacking.number<std::uint8_t>();
      word.rank = unpacking.number<double>();
      word.pages = unpacking.number<std::uint64_t>();
      best.push_back(std::move(word));
    }
  }
  keepBest(best, options.maxWords);
  std::sort(best.begin(), best.end(),
            [](const RankedWord& a, const RankedWord& b) { return a.word.text < b.word.text; });
  for (const RankedWord& word : best) {
    chosen.words.push_back(corpus.know(word.word));
    chosen.splitCosts.push_back(static_cast<float>(-std::log(static_cast<double>(word.pages) / teaching)));
  }
  return chosen;
}

void gatherHeldBack(TrainingCorpus& corpus, std::size_t most, const Reduction& reduction) {
  if (!reduction.distributed()) return;
  std::vector<OfferedPage> mine;
  for (const CorpusPage& page : corpus.pages()) {
    if (page.calibrates) mine.push_back(offered(corpus, page, page.category));
  }
  corpus.dropHeldBack();
  for (const OfferedPage& page : gatherFirst(std::move(mine), corpus.categoryCount(), most, reduction))
    corpus.addForeign(FoldedText(page.text), page.group, page.site, true);
}

void gatherTeachers(TrainingCorpus& corpus, std::size_t most, const Reduction& reduction) {
  if (!reduction.distributed()) return;
  std::vector<OfferedPage> mine;
  if (reduction.rank() != 0) {
    for (const std::size_t place : teachersOfLast(corpus, most)) {
      const CorpusPage& page = corpus.pages()[place];
      mine.push_back(offered(corpus, page, page.composed ? 1 : 0));
    }
  }
  for (const OfferedPage& page : gatherFirst(std::move(mine), 2, most, reduction)) {
    corpus.addForeign(FoldedText(page.text), corpus.categoryCount() - 1, page.site, false, page.group == 1);
  }
}

}  // namespace sifterra::lsm
