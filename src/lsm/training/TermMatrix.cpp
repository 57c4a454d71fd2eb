// Every product is one dot product a row, rows shared out to threads: each value is one sum in a fixed order,
// whatever the number of threads. That is why the transposed factors are kept as well.
#include "lsm/training/TermMatrix.h"

#include <algorithm>
#include <cmath>

#include "lsm/NGrams.h"
#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;
using Entry = Eigen::Triplet<double>;
constexpr std::size_t kRowsAtOnce = 512;

double rowTimes(const SparseRows& matrix, std::size_t row, const double* values) {
  double sum = 0;
  for (SparseRows::InnerIterator entry(matrix, static_cast<Index>(row)); entry; ++entry) {
    sum += entry.value() * values[entry.col()];
  }
  return sum;
}

// Entropy weight of what row `row` of a table "thing by pages" counts.
double entropyWeight(const SparseRows& countsByPage, std::size_t row, double logPages) {
  double total = 0;
  for (SparseRows::InnerIterator entry(countsByPage, static_cast<Index>(row)); entry; ++entry) {
    total += entry.value();
  }
  if (total <= 0) return 0;
  double sum = 0;
  for (SparseRows::InnerIterator entry(countsByPage, static_cast<Index>(row)); entry; ++entry) {
    const double share = entry.value() / total;
    sum += share * std::log(share);
  }
  return std::clamp(1 + sum / logPages, 0.0, 1.0);
}

}  // namespace

TermMatrix::TermMatrix(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                       const TermMatrixOptions& options)
    : _threads(options.threads), _signatures(corpus.categoryCount()), _reduction(options.reduction) {
  countTerms(corpus, vocabulary);
  _pagesOfAll = _reduction->sum(static_cast<double>(_pages.size()));
  spellTerms(corpus, vocabulary, options);
  _local = _counts;
  double* values = _local.valuePtr();
  for (Index i = 0; i < _local.nonZeros(); ++i) values[i] = std::log2(1 + values[i]);
  _localTransposed = _local.transpose();
  _nGramsTransposed = _nGrams.transpose();
  if (_reduction->distributed()) {
    weighWordsOfAll();
  } else {
    weighWords();
  }
  weighBuckets(options.nGramWeight);
  _counts = SparseRows();
  measureRows();
}

void TermMatrix::countTerms(const TrainingCorpus& corpus, const Vocabulary& vocabulary) {
  const std::size_t known = vocabulary.known().size();
  std::vector<Entry> entries;
  for (std::uint32_t p = 0; p < corpus.pages().size(); ++p) {
    const CorpusPage& page = corpus.pages()[p];
    if (page.calibrates) continue;
    const int row = static_cast<int>(_pages.size());
    _pages.push_back(p);
    for (const WordCount& word : page.words) {
      const Vocabulary::Terms terms = vocabulary.terms(word.word);
      for (std::size_t i = 0; i < terms.count; ++i) {
        const std::size_t term = terms.first[i];
        // The signatures stand between the known words and the spelt ones.
        entries.emplace_back(row, static_cast<int>(term < known ? term : term + _signatures), word.count);
      }
    }
    entries.emplace_back(row, static_cast<int>(known + page.category), 1.0);
  }
  _wordWeights.resize(known + _signatures);
  _counts.resize(static_cast<Index>(_pages.size()), static_cast<Index>(vocabulary.termCount() + _signatures));
  _counts.setFromTriplets(entries.begin(), entries.end());
}

void TermMatrix::spellTerms(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                            const TermMatrixOptions& options) {
  const std::size_t known = vocabulary.known().size();
  std::vector<Entry> entries;
  NGramBuckets buckets;
  for (std::size_t term = 0; term < vocabulary.termCount(); ++term) {
    const std::uint32_t word = term < known ? vocabulary.known()[term] : vocabulary.spelt()[term - known];
    nGramBuckets(corpus.words()[word].token(), options.buckets, buckets);
    if (buckets.count == 0) continue;
    const double weight = options.nGramWeight / std::sqrt(static_cast<double>(buckets.count));
    const int row = static_cast<int>(term < known ? term : term + _signatures);
    for (std::size_t i = 0; i < buckets.count; ++i) {
      entries.emplace_back(row, static_cast<int>(buckets.bucket[i]), weight);
    }
  }
  _bucketWeights.resize(options.buckets);
  _nGrams.resize(_counts.cols(), static_cast<Index>(options.buckets));
  _nGrams.setFromTriplets(entries.begin(), entries.end());
}

void TermMatrix::weighWords() {
  const SparseRows countsByTerm = _counts.transpose();
  const double logPages = std::log(static_cast<double>(std::max<std::size_t>(_pages.size(), 2)));
  for (std::size_t w = 0; w < _wordWeights.size(); ++w)
    _wordWeights[w] = entropyWeight(countsByTerm, w, logPages);
}

// The same from two sums over the pages of all processes: sum of p ln p = sum of c ln c / total - ln total.
void TermMatrix::weighWordsOfAll() {
  const std::size_t words = _wordWeights.size();
  std::vector<double> sums(2 * words, 0.0);
  for (Index page = 0; page < _counts.rows(); ++page) {
    for (SparseRows::InnerIterator term(_counts, page); term; ++term) {
      const auto t = static_cast<std::size_t>(term.col());
      if (t >= words) continue;
      sums[t] += term.value();
      sums[words + t] += term.value() * std::log(term.value());
    }
  }
  _reduction->sum(sums.data(), sums.size());
  const double logPages = std::log(std::max(_pagesOfAll, 2.0));
  for (std::size_t w = 0; w < words; ++w) {
    if (sums[w] > 0)
      _wordWeights[w] = std::clamp(1 + (sums[words + w] / sums[w] - std::log(sums[w])) / logPages, 0.0, 1.0);
  }
}

// An n-gram is counted once for each word that holds it, as often as that word stands in the page.
void TermMatrix::weighBuckets(double nGramWeight) {
  if (nGramWeight <= 0) return;
  const double logPages = std::log(std::max(_pagesOfAll, 2.0));
  const std::size_t buckets = _bucketWeights.size();
  std::vector<double> total(buckets, 0.0);
  std::vector<double> sum(buckets, 0.0);  // of c ln c: then sum of p ln p = sum / total - ln total
  std::vector<double> inPage(buckets, 0.0);
  std::vector<Index> touched;
  for (Index page = 0; page < _counts.rows(); ++page) {
    touched.clear();
    for (SparseRows::InnerIterator term(_counts, page); term; ++term) {
      for (SparseRows::InnerIterator gram(_nGrams, term.col()); gram; ++gram) {
        double& count = inPage[static_cast<std::size_t>(gram.col())];
        if (count == 0) touched.push_back(gram.col());
        count += term.value();
      }
    }
    for (const Index bucket : touched) {
      const auto b = static_cast<std::size_t>(bucket);
      total[b] += inPage[b];
      sum[b] += inPage[b] * std::log(inPage[b]);
      inPage[b] = 0;
    }
  }
  _reduction->sum(total.data(), buckets);
  _reduction->sum(sum.data(), buckets);
  for (std::size_t b = 0; b < buckets; ++b) {
    if (total[b] > 0) {
      _bucketWeights[b] = std::clamp(1 + (sum[b] / total[b] - std::log(total[b])) / logPages, 0.0, 1.0);
    }
  }
}

void TermMatrix::measureRows() {
  _rowScales.assign(_pages.size(), 0.0);
  parallelFor(_threads, _pages.size(), kRowsAtOnce, [&](std::size_t, std::size_t from, std::size_t to) {
    std::vector<double> onBuckets(_bucketWeights.size(), 0.0);
    std::vector<Index> touched;
    for (std::size_t page = from; page < to; ++page) {
      double squares = 0;
      touched.clear();
      for (SparseRows::InnerIterator term(_local, static_cast<Index>(page)); term; ++term) {
        const auto t = static_cast<std::size_t>(term.col());
        if (t < _wordWeights.size()) squares += std::pow(term.value() * _wordWeights[t], 2);
        for (SparseRows::InnerIterator gram(_nGrams, term.col()); gram; ++gram) {
          double& value = onBuckets[static_cast<std::size_t>(gram.col())];
          if (value == 0) touched.push_back(gram.col());
          value += term.value() * gram.value();
        }
      }
      for (const Index bucket : touched) {
        const auto b = static_cast<std::size_t>(bucket);
        squares += std::pow(onBuckets[b] * _bucketWeights[b], 2);
        onBuckets[b] = 0;
      }
      if (squares > 0) _rowScales[page] = 1 / std::sqrt(squares);
    }
  });
}

void TermMatrix::multiply(const double* features, double* pages) const {
  const std::size_t words = _wordWeights.size();
  std::vector<double> onBuckets(_bucketWeights.size());
  for (std::size_t b = 0; b < onBuckets.size(); ++b) onBuckets[b] = features[words + b] * _bucketWeights[b];
  const auto terms = static_cast<std::size_t>(_local.cols());
  std::vector<double> onTerms(terms);
  parallelFor(_threads, terms, kRowsAtOnce, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t t = from; t < to; ++t) {
      onTerms[t] = rowTimes(_nGrams, t, onBuckets.data());
      if (t < words) onTerms[t] += features[t] * _wordWeights[t];
    }
  });
  parallelFor(_threads, _pages.size(), kRowsAtOnce, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t p = from; p < to; ++p) pages[p] = _rowScales[p] * rowTimes(_local, p, onTerms.data());
  });
}

void TermMatrix::multiplyTransposed(const double* pages, double* features) const {
  const std::size_t words = _wordWeights.size();
  std::vector<double> scaled(_pages.size());
  for (std::size_t p = 0; p < scaled.size(); ++p) scaled[p] = _rowScales[p] * pages[p];
  const auto terms = static_cast<std::size_t>(_local.cols());
  std::vector<double> onTerms(terms);
  parallelFor(_threads, terms, kRowsAtOnce, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t t = from; t < to; ++t) onTerms[t] = rowTimes(_localTransposed, t, scaled.data());
  });
  for (std::size_t w = 0; w < words; ++w) features[w] = onTerms[w] * _wordWeights[w];
  parallelFor(_threads, _bucketWeights.size(), kRowsAtOnce,
              [&](std::size_t, std::size_t from, std::size_t to) {
                for (std::size_t b = from; b < to; ++b) {
                  features[words + b] = _bucketWeights[b] * rowTimes(_nGramsTransposed, b, onTerms.data());
                }
              });
  _reduction->sum(features, words + _bucketWeights.size());
}

}  // namespace sifterra::lsm
