// TermMatrix: the weighted table of pages by features, in factors.
//
// A page's row holds log2(1 + tf(w)) for each of its terms. A term weighs G(w) on itself when it is a known
// word, and lambda G(h) / sqrt(number of its n-grams) on the bucket of each of its n-grams h. So with L =
// pages by terms and H = terms by buckets the table is [L G, L H G], its rows brought to length 1. The right
// half would have some thousand entries a page and is never formed: both factors are applied one after the
// other.
//
// G, from 0 to 1, is 1 for what stands in one page only and 0 for what is spread evenly over all (entropy
// weight).
#pragma once

#include <Eigen/SparseCore>
#include <cstdint>
#include <vector>

#include "lsm/training/TrainingCorpus.h"
#include "lsm/training/Vocabulary.h"

namespace sifterra::lsm {

using SparseRows = Eigen::SparseMatrix<double, Eigen::RowMajor>;

struct TermMatrixOptions {
  std::uint32_t buckets = 0;
  double nGramWeight = 1.0;  // lambda
  std::size_t threads = 1;
  const Reduction* reduction = &Reduction::none();  // outlives the matrix
};

class TermMatrix {
 public:
  // Of the pages that teach. Each also holds the signature of its category, once: known words behind those
  // of the vocabulary, one a category.
  TermMatrix(const TrainingCorpus& corpus, const Vocabulary& vocabulary, const TermMatrixOptions& options);

  [[nodiscard]] std::size_t pageCount() const noexcept { return _pages.size(); }  // of this process
  [[nodiscard]] double pagesOfAll() const noexcept { return _pagesOfAll; }
  [[nodiscard]] const Reduction& reduction() const noexcept { return *_reduction; }
  // Known words, signatures included.
  [[nodiscard]] std::size_t wordCount() const noexcept { return _wordWeights.size(); }
  [[nodiscard]] std::size_t signatureCount() const noexcept { return _signatures; }
  [[nodiscard]] std::size_t bucketCount() const noexcept { return _bucketWeights.size(); }
  // Where page i stands in the corpus.
  [[nodiscard]] std::uint32_t corpusPage(std::size_t page) const noexcept { return _pages[page]; }
  // G(w) of known words, G(h) of buckets.
  [[nodiscard]] const std::vector<double>& wordWeights() const noexcept { return _wordWeights; }
  [[nodiscard]] const std::vector<double>& bucketWeights() const noexcept { return _bucketWeights; }
  // Pages by terms: first the known words, then the spelt ones.
  [[nodiscard]] const SparseRows& localWeights() const noexcept { return _local; }
  // Terms by buckets: lambda x count / sqrt(number of n-grams).
  [[nodiscard]] const SparseRows& nGrams() const noexcept { return _nGrams; }

  [[nodiscard]] const SparseRows& nGramsTransposed() const noexcept { return _nGramsTransposed; }

  // pages = table x features, where features are the known words and then the buckets.
  void multiply(const double* features, double* pages) const;
  // features = transposed table x pages, summed over all processes.
  void multiplyTransposed(const double* pages, double* features) const;

 private:
  void countTerms(const TrainingCorpus& corpus, const Vocabulary& vocabulary);
  void spellTerms(const TrainingCorpus& corpus, const Vocabulary& vocabulary,
                  const TermMatrixOptions& options);
  void weighWords();
  void weighWordsOfAll();
  void weighBuckets(double nGramWeight);
  void measureRows();

  std::size_t _threads;
  std::size_t _signatures;
  const Reduction* _reduction;
  double _pagesOfAll = 0;
  std::vector<std::uint32_t> _pages;
  SparseRows _counts;  // tf; only while weights are computed
  SparseRows _local;
  SparseRows _localTransposed;
  SparseRows _nGrams;
  SparseRows _nGramsTransposed;
  std::vector<double> _wordWeights;
  std::vector<double> _bucketWeights;
  std::vector<double> _rowScales;  // 1 / length of the page's row
};

}  // namespace sifterra::lsm
