// Vocabulary: the words that a map will know, and what becomes of the others.
//
// What a page's words turn into here is what the engine turns them into when the map is used: a known word
// counts itself, an unknown one that is made of known ones counts those, any other counts by its n-grams, and
// words of a script that the map does not judge count nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lsm/WordScript.h"
#include "lsm/training/Reduction.h"
#include "lsm/training/TrainingCorpus.h"

namespace sifterra::lsm {

// Words that were chosen elsewhere: numbers of words of the corpus, sorted by their bytes, and what they
// cost.
struct ChosenWords {
  std::vector<std::uint32_t> words;
  std::vector<float> splitCosts;
  std::size_t differentWords = 0;  // of which they were chosen
};

struct VocabularyOptions {
  std::size_t maxWords = 0;
  std::uint32_t minPages = 2;  // a word of one page says nothing about others
  WordScriptSet scripts = kAllWordScripts;
  const ChosenWords* chosen = nullptr;  // in place of the best ones of the corpus
};

class Vocabulary {
 public:
  static constexpr std::uint32_t kUnknown = UINT32_MAX;

  // Chosen from the pages that teach.
  Vocabulary(const TrainingCorpus& corpus, const VocabularyOptions& options);

  // The known words, sorted by their bytes: numbers of words of the corpus.
  [[nodiscard]] const std::vector<std::uint32_t>& known() const noexcept { return _known; }
  // Of each known word: -ln(share of the teaching pages that hold it).
  [[nodiscard]] const std::vector<float>& splitCosts() const noexcept { return _splitCosts; }
  // The unknown words that count by their n-grams, in the order of the corpus.
  [[nodiscard]] const std::vector<std::uint32_t>& spelt() const noexcept { return _spelt; }
  // What a word of the corpus counts as: terms from 0, first the known words, then the spelt ones. Most
  // are one, some none.
  struct Terms {
    const std::uint32_t* first;
    std::size_t count;
  };
  [[nodiscard]] Terms terms(std::uint32_t word) const noexcept {
    return {_terms.data() + _firstTerm[word], _firstTerm[word + 1] - _firstTerm[word]};
  }
  [[nodiscard]] std::size_t termCount() const noexcept { return _known.size() + _spelt.size(); }

 private:
  void choose(const TrainingCorpus& corpus, const VocabularyOptions& options);
  void resolve(const TrainingCorpus& corpus, WordScriptSet scripts);

  std::vector<std::uint32_t> _known;
  std::vector<float> _splitCosts;
  std::vector<std::uint32_t> _spelt;
  std::vector<std::uint32_t> _terms;
  std::vector<std::size_t> _firstTerm;  // by word of the corpus, and the end
};

// The scripts that enough pages of the first category are written in. Without such pages a script's words
// would speak for the other categories by their mere presence.
[[nodiscard]] WordScriptSet scriptsWithEnoughPages(const TrainingCorpus& corpus, std::size_t minPages,
                                                   const Reduction& reduction = Reduction::none());
// The names of those that some pages are written in but that are not in the set.
[[nodiscard]] std::vector<std::string> scriptsLeftOut(const TrainingCorpus& corpus, WordScriptSet scripts,
                                                      const Reduction& reduction = Reduction::none());

}  // namespace sifterra::lsm
