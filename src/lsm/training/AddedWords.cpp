#include "lsm/training/AddedWords.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "lsm/NGrams.h"
#include "lsm/NearWords.h"
#include "lsm/WordSplitter.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// A word of the corpus that may be added, and where it stands.
struct NewWord {
  std::uint32_t word = 0;
  std::size_t pages = 0;
  bool inWrongPage = false;
  bool wronglyRestricted = false;  // stands in a page that is
};

// Whether the engine reads the word as its letters or not at all: nothing that the map knows is hidden by it.
// But a word that is taken for a telling one with a mistake, on a page that is restricted wrongly, is a word
// of its own: or else the telling word would have to pay for it.
bool isNew(const Map& map, const CorpusWord& word, bool wronglyRestricted) {
  if (word.kind == TokenKind::kAtom || map.find(word.text) != Map::kUnknownWord) return false;
  if (word.script != WordScript::kCommon && (map.scripts() & bitOf(word.script)) == 0) return false;
  if (nearWord(map, word.token()) != Map::kUnknownWord) return wronglyRestricted;
  const WordSplit split =
      splitWord(word.token(), [&map](std::string_view piece, std::uint32_t& number, float& cost) {
        number = map.find(piece);
        if (number == Map::kUnknownWord) return false;
        cost = map.splitCost(number);
        return cost >= 0;
      });
  return split.count == 0;
}

std::vector<NewWord> newWords(const Map& map, const TrainingCorpus& corpus, const std::vector<bool>& wrong,
                              std::size_t most) {
  std::vector<NewWord> all(corpus.words().size());
  for (std::uint32_t w = 0; w < all.size(); ++w) all[w].word = w;
  for (std::size_t p = 0; p < corpus.pages().size(); ++p) {
    for (const WordCount& word : corpus.pages()[p].words) {
      ++all[word.word].pages;
      if (!wrong[p]) continue;
      all[word.word].inWrongPage = true;
      if (corpus.pages()[p].category + 1 != map.categoryCount()) all[word.word].wronglyRestricted = true;
    }
  }
  std::vector<NewWord> chosen;
  for (const NewWord& word : all) {
    if ((word.pages >= 2 || word.inWrongPage) &&
        isNew(map, corpus.words()[word.word], word.wronglyRestricted))
      chosen.push_back(word);
  }
  const auto text = [&corpus](const NewWord& word) -> const std::string& {
    return corpus.words()[word.word].text;
  };
  std::sort(chosen.begin(), chosen.end(), [&text](const NewWord& a, const NewWord& b) {
    if (a.inWrongPage != b.inWrongPage) return a.inWrongPage;
    return a.pages != b.pages ? a.pages > b.pages : text(a) < text(b);
  });
  if (chosen.size() > most) chosen.resize(most);
  std::sort(chosen.begin(), chosen.end(),
            [&text](const NewWord& a, const NewWord& b) { return text(a) < text(b); });
  return chosen;
}

// Of the pages that the map was learnt from: the sum of the products of their points with themselves.
Eigen::MatrixXd secondMoments(const MapMemory& memory, Index rank) {
  Eigen::MatrixXd sum = Eigen::MatrixXd::Zero(rank, rank);
  double pages = 0;
  for (std::size_t v = 0; v < memory.pages.size(); ++v) {
    if (v != 0 && memory.pages[v] == memory.pages[v - 1]) continue;
    const Eigen::Map<const Eigen::VectorXf> stored(memory.points.data() + static_cast<Index>(v) * rank, rank);
    const Eigen::VectorXd point = stored.cast<double>();
    const auto weight = static_cast<double>(memory.weights[memory.pages[v]]);
    sum.noalias() += weight * point * point.transpose();
    pages += weight;
  }
  sum *= static_cast<double>(memory.teachingPages) / pages;
  // Directions in which no remembered page stands out say nothing.
  sum.diagonal().array() += std::max(1e-3 * sum.trace() / static_cast<double>(rank), 1e-12);
  return sum;
}

// What the engine takes for an unknown word.
Eigen::VectorXd rowOfLetters(const Map& map, const Token& token) {
  Eigen::VectorXd row = Eigen::VectorXd::Zero(static_cast<Index>(map.rank()));
  NGramBuckets buckets;
  nGramBuckets(token, map.bucketCount(), buckets);
  for (std::size_t i = 0; i < buckets.count; ++i) {
    const QuantisedRow bucket = map.bucketRow(buckets.bucket[i]);
    for (std::uint32_t k = 0; k < map.rank(); ++k)
      row[static_cast<Index>(k)] += static_cast<double>(bucket.scale) * bucket.values[k];
  }
  if (buckets.count != 0) row /= std::sqrt(static_cast<double>(buckets.count));
  return row;
}

}  // namespace

std::size_t foldInWords(const LsmMap& map, const TrainingCorpus& corpus, const std::vector<PageView>& wholes,
                        const std::vector<bool>& wrong, std::size_t most, MapContents& contents) {
  const std::vector<NewWord> words = newWords(*map, corpus, wrong, most);
  if (words.empty()) return 0;
  const auto rank = static_cast<Index>(map->rank());
  std::vector<std::size_t> place(corpus.words().size(), words.size());
  for (std::size_t i = 0; i < words.size(); ++i) place[words[i].word] = i;
  Eigen::MatrixXd sums = Eigen::MatrixXd::Zero(rank, static_cast<Index>(words.size()));
  std::vector<double> counts(words.size(), 0.0);
  std::vector<double> logCounts(words.size(), 0.0);  // sum of c ln c
  for (std::size_t p = 0; p < corpus.pages().size(); ++p) {
    for (const WordCount& word : corpus.pages()[p].words) {
      const std::size_t i = place[word.word];
      if (i == words.size()) continue;
      const auto count = static_cast<double>(word.count);
      counts[i] += count;
      logCounts[i] += count * std::log(count);
      if (wholes[p].length > 0)
        sums.col(static_cast<Index>(i)) += std::log2(1 + count) / wholes[p].length * wholes[p].point;
    }
  }
  const Eigen::MatrixXd folded = secondMoments(contents.memory, rank).llt().solve(sums);
  const double logPages = std::log(static_cast<double>(contents.memory.teachingPages) +
                                   static_cast<double>(corpus.pages().size()));
  for (std::size_t i = 0; i < words.size(); ++i) {
    const double weight =
        std::clamp(1 + (logCounts[i] / counts[i] - std::log(counts[i])) / logPages, 0.0, 1.0);
    const CorpusWord& word = corpus.words()[words[i].word];
    // G(w) once in the table that is folded in, once in the row.
    const Eigen::VectorXd row =
        rowOfLetters(*map, word.token()) + weight * weight * folded.col(static_cast<Index>(i));
    contents.words.push_back({word.text, static_cast<float>(weight), std::numeric_limits<float>::infinity()});
    for (Index k = 0; k < rank; ++k) contents.wordRows.push_back(static_cast<float>(row[k]));
  }
  return words.size();
}

}  // namespace sifterra::lsm
