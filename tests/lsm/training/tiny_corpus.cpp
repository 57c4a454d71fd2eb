#include "lsm/training/tiny_corpus.h"

#include <stdexcept>
#include <utility>

#include "lsm/MapFile.h"

namespace sifterra::lsm {
namespace {

// A generator of our own: the library's distributions may differ from one to the next.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _state(seed * 2654435761U + 1) {}
  std::size_t below(std::size_t limit) {
    _state = _state * 6364136223846793005U + 1442695040888963407U;
    return static_cast<std::size_t>(_state >> 33U) % limit;
  }

 private:
  std::uint64_t _state;
};

}  // namespace

// Consonants and vowels by turns, so that words look like words and have n-grams; the first letter tells the
// category.
std::u16string tinyWord(std::uint32_t category, std::size_t number) {
  constexpr std::u16string_view kConsonants = u"bdfgklmnprst";
  constexpr std::u16string_view kVowels = u"aeiou";
  std::u16string word{kConsonants[category % kConsonants.size()]};
  std::size_t rest = number + 7;
  for (int syllable = 0; syllable < 3; ++syllable) {
    word += kVowels[rest % kVowels.size()];
    rest = rest * 31 + 11 * (category + 1);
    word += kConsonants[rest % kConsonants.size()];
    rest = rest / 3 + 5 * number;
  }
  return word + kVowels[number % kVowels.size()] + kConsonants[number / kVowels.size() % kConsonants.size()];
}

std::vector<TinyPage> tinyPages(std::size_t pagesPerCategory, std::uint32_t categories, std::uint64_t seed) {
  Random random(seed);
  std::vector<TinyPage> pages;
  for (std::size_t i = 0; i < pagesPerCategory; ++i) {
    for (std::uint32_t category = 1; category <= categories; ++category) {
      const std::string signature = signatureToken(category);
      TinyPage page{std::u16string(signature.begin(), signature.end()) + u"\n", category,
                    "site" + std::to_string(i / 3) + "." + std::to_string(category)};
      const std::size_t words = 20 + random.below(60);
      for (std::size_t w = 0; w < words; ++w) {
        page.text += tinyWord(random.below(3) == 0 ? category : 0, random.below(kTinyWords));
        page.text += w % 10 == 9 ? u'\n' : u' ';
      }
      pages.push_back(std::move(page));
    }
  }
  return pages;
}

TrainingCorpus tinyCorpus(const std::vector<TinyPage>& pages) {
  TrainingCorpus corpus;
  for (const TinyPage& page : pages) {
    TrainingPage made = makeTrainingPage(page.text, page.text, page.category, page.site);
    made.composed = page.composed;
    corpus.add(std::move(made));
  }
  return corpus;
}

TrainingOptions tinyOptions() {
  TrainingOptions options;
  options.rank = 6;
  options.latentRank = 12;
  options.buckets = 256;
  options.falsePositiveRate = 0.02;
  return options;
}

MapContents trainTinyMap() {
  TrainingCorpus corpus = tinyCorpus(tinyPages(60));
  TrainingSummary summary;
  std::string why;
  std::optional<MapContents> map = trainMap(corpus, tinyOptions(), summary, why);
  if (!map) throw std::runtime_error(why);
  return std::move(*map);
}

}  // namespace sifterra::lsm
