#include "lsm/training/SharedPages.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "lsm/training/packed_bytes.h"

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

std::vector<RankedWord> ranked(CountedWords words, const std::vector<double>& pagesOfCategory,
                               const VocabularyOptions& options) {
  std::vector<RankedWord> result;
  for (auto& [text, counted] : words) {
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
  std::vector<RankedWord> best = ranked(std::move(mine), pagesOfCategory, options);
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
  struct Held {
    std::uint64_t hash;
    std::uint32_t category;
    std::string text;
    std::string site;
  };
  std::vector<Held> mine;
  std::string hashes;
  for (const CorpusPage& page : corpus.pages()) {
    if (!page.calibrates) continue;
    const std::u16string text = page.scored.text();
    Held held{0,
              page.category,
              {reinterpret_cast<const char*>(text.data()), 2 * text.size()},
              corpus.siteName(page.site)};
    held.hash = hashOf(held.text);
    pack(hashes, held.category);
    pack(hashes, held.hash);
    mine.push_back(std::move(held));
  }
  // The highest hash of each category that is still among the chosen ones.
  std::vector<std::vector<std::uint64_t>> hashesOf(corpus.categoryCount());
  for (const std::string& part : gatherForAll(std::move(hashes), reduction)) {
    for (Unpacking unpacking(part); !unpacking.atEnd();) {
      const auto category = unpacking.number<std::uint32_t>();
      hashesOf[category].push_back(unpacking.number<std::uint64_t>());
    }
  }
  std::vector<std::uint64_t> highest(hashesOf.size(), UINT64_MAX);
  for (std::size_t c = 0; c < hashesOf.size(); ++c) {
    std::sort(hashesOf[c].begin(), hashesOf[c].end());
    if (hashesOf[c].size() > most) highest[c] = hashesOf[c][most - 1];
  }
  std::string bytes;
  for (const Held& held : mine) {
    if (held.hash > highest[held.category]) continue;
    pack(bytes, held.hash);
    pack(bytes, held.category);
    packText(bytes, held.text);
    packText(bytes, held.site);
  }
  corpus.dropHeldBack();
  mine.clear();
  for (const std::string& part : reduction.gather(std::move(bytes))) {
    for (Unpacking unpacking(part); !unpacking.atEnd();) {
      Held held;
      held.hash = unpacking.number<std::uint64_t>();
      held.category = unpacking.number<std::uint32_t>();
      held.text = unpacking.text();
      held.site = unpacking.text();
      mine.push_back(std::move(held));
    }
  }
  std::sort(mine.begin(), mine.end(), [](const Held& a, const Held& b) {
    return a.hash != b.hash ? a.hash < b.hash : a.text < b.text;
  });
  for (const Held& held : mine) {
    std::u16string text(held.text.size() / 2, u'\0');
    std::memcpy(text.data(), held.text.data(), held.text.size());
    corpus.addHeldBack(FoldedText(text), held.category, held.site);
  }
}

}  // namespace sifterra::lsm
