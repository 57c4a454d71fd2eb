// The table, its singular directions, the head and the folded basis, against slow plain computations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <Eigen/SVD>

#include <algorithm>
#include <cmath>
#include <map>

#include "lsm/NGrams.h"
#include "lsm/training/FoldedBasis.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

struct Table {
  TrainingCorpus corpus = tinyCorpus(tinyPages(12));
  Vocabulary vocabulary{corpus, {60, 2, kAllWordScripts}};
  TermMatrix matrix{corpus, vocabulary, {64, 0.7, 2}};

  [[nodiscard]] Index features() const {
    return static_cast<Index>(matrix.wordCount() + matrix.bucketCount());
  }
  // By its definition: counts, logarithms, entropies, n-grams, all in dense tables.
  [[nodiscard]] Eigen::MatrixXd dense() const;
};

Eigen::VectorXd entropyWeights(const Eigen::MatrixXd& counts) {
  Eigen::VectorXd weights = Eigen::VectorXd::Zero(counts.cols());
  for (Index f = 0; f < counts.cols(); ++f) {
    const double total = counts.col(f).sum();
    if (total == 0) continue;
    double sum = 0;
    for (Index p = 0; p < counts.rows(); ++p) {
      const double share = counts(p, f) / total;
      if (share > 0) sum += share * std::log(share);
    }
    weights[f] = 1 + sum / std::log(static_cast<double>(counts.rows()));
  }
  return weights;
}

Eigen::MatrixXd Table::dense() const {
  const auto pages = static_cast<Index>(corpus.pages().size());
  const auto known = static_cast<Index>(vocabulary.known().size());
  const Index words = known + 2;
  const auto buckets = static_cast<Index>(matrix.bucketCount());
  Eigen::MatrixXd wordCounts = Eigen::MatrixXd::Zero(pages, words);
  Eigen::MatrixXd bucketCounts = Eigen::MatrixXd::Zero(pages, buckets);
  Eigen::MatrixXd right = Eigen::MatrixXd::Zero(pages, buckets);
  for (Index p = 0; p < pages; ++p) {
    const CorpusPage& page = corpus.pages()[static_cast<std::size_t>(p)];
    std::map<std::uint32_t, std::uint32_t> terms;
    for (const WordCount& word : page.words) {
      const Vocabulary::Terms counted = vocabulary.terms(word.word);
      for (std::size_t i = 0; i < counted.count; ++i) terms[counted.first[i]] += word.count;
    }
    for (const auto& [term, count] : terms) {
      const bool isKnown = static_cast<Index>(term) < known;
      if (isKnown) wordCounts(p, term) = count;
      const std::uint32_t word =
          isKnown ? vocabulary.known()[term] : vocabulary.spelt()[term - static_cast<std::uint32_t>(known)];
      NGramBuckets grams;
      nGramBuckets(corpus.words()[word].token(), static_cast<std::uint32_t>(buckets), grams);
      for (std::size_t g = 0; g < grams.count; ++g) {
        const double weight = 0.7 / std::sqrt(static_cast<double>(grams.count));
        const bool first = std::find(grams.bucket, grams.bucket + g, grams.bucket[g]) == grams.bucket + g;
        if (first) bucketCounts(p, grams.bucket[g]) += count;  // once for each word that holds it
        right(p, grams.bucket[g]) += weight * std::log2(1.0 + count);
      }
    }
    wordCounts(p, known + page.category) = 1;
  }
  Eigen::MatrixXd table(pages, words + buckets);
  table.leftCols(words) =
      ((wordCounts.array() + 1).log() / std::log(2.0)).matrix() * entropyWeights(wordCounts).asDiagonal();
  table.rightCols(buckets) = right * entropyWeights(bucketCounts).asDiagonal();
  for (Index p = 0; p < pages; ++p) table.row(p).normalize();
  return table;
}

TEST(TermMatrix, MultipliesLikeTheWholeTable) {
  const Table table;
  const Eigen::MatrixXd dense = table.dense();
  ASSERT_EQ(dense.cols(), table.features());
  Eigen::VectorXd in = Eigen::VectorXd::LinSpaced(table.features(), -1, 2);
  Eigen::VectorXd out(dense.rows());
  table.matrix.multiply(in.data(), out.data());
  EXPECT_LT((out - dense * in).norm(), 1e-9 * out.norm());
  Eigen::VectorXd pages = Eigen::VectorXd::LinSpaced(dense.rows(), 3, -1);
  Eigen::VectorXd back(table.features());
  table.matrix.multiplyTransposed(pages.data(), back.data());
  EXPECT_LT((back - dense.transpose() * pages).norm(), 1e-9 * back.norm());
}

TEST(TermMatrix, WeighsWhatStandsEverywhereLessThanWhatStandsOnce) {
  const Table table;
  const auto known = table.vocabulary.known().size();
  for (std::size_t w = 0; w < known; ++w) {
    EXPECT_GE(table.matrix.wordWeights()[w], 0.0);
    EXPECT_LE(table.matrix.wordWeights()[w], 1.0);
  }
  // A signature stands once in half of 24 pages.
  EXPECT_NEAR(table.matrix.wordWeights()[known], 1 - std::log(12.0) / std::log(24.0), 1e-12);
}

TEST(LatentSpace, HasTheSingularDirectionsOfTheTable) {
  const Table table;
  std::string why;
  const LatentSpace space = latentSpace(table.matrix, 5, why);
  ASSERT_EQ(space.rank(), 5U) << why;
  const Eigen::BDCSVD<Eigen::MatrixXd> whole(table.dense(), Eigen::ComputeThinV);
  for (Index k = 0; k < 5; ++k) {
    SCOPED_TRACE(k);
    EXPECT_NEAR(space.singularValues[k], whole.singularValues()[k], 1e-6);
    EXPECT_NEAR(std::fabs(space.features.col(k).dot(whole.matrixV().col(k))), 1, 1e-4);
    EXPECT_NEAR(space.features.col(k).norm(), 1, 1e-6);
    Index largest = 0;
    space.features.col(k).cwiseAbs().maxCoeff(&largest);
    EXPECT_GT(space.features(largest, k), 0);  // the sign is fixed
  }
}

TEST(LatentSpace, FoldsPagesInByTheirTerms) {
  const Table table;
  std::string why;
  const LatentSpace space = latentSpace(table.matrix, 4, why);
  const RowMatrix rows = termRows(table.matrix, space.features);
  // The rows of a page's terms add up to its row of the table in the latent space, but for the length.
  const Eigen::MatrixXd latent = table.dense() * space.features;
  const SparseRows& local = table.matrix.localWeights();
  for (Index p = 0; p < local.rows(); ++p) {
    Eigen::RowVectorXd sum = Eigen::RowVectorXd::Zero(4);
    for (SparseRows::InnerIterator term(local, p); term; ++term) sum += term.value() * rows.row(term.col());
    EXPECT_LT((sum.normalized() - latent.row(p).normalized()).norm(), 1e-9);
  }
}

TEST(LatentSpace, HasNoMoreDirectionsThanThePagesHave) {
  const TrainingCorpus corpus = tinyCorpus(tinyPages(3));
  const Vocabulary vocabulary(corpus, {50, 1, kAllWordScripts});
  const TermMatrix matrix(corpus, vocabulary, {64, 1, 1});
  std::string why;
  const LatentSpace space = latentSpace(matrix, 100, why);
  EXPECT_EQ(space.rank(), 5U) << why;  // six pages, one less
}

// Points around two or three centres, some of them on the wrong side.
RowMatrix points(Index count, std::vector<std::uint32_t>& categories, std::uint32_t categoryCount) {
  RowMatrix result(count, 3);
  categories.clear();
  for (Index i = 0; i < count; ++i) {
    const auto category = static_cast<std::uint32_t>(i) % categoryCount;
    categories.push_back(category);
    for (Index d = 0; d < 3; ++d) {
      const double noise = std::sin(static_cast<double>(i * 7 + d * 13));
      result(i, d) = (static_cast<std::uint32_t>(d) == category ? 0.6 : 0.0) + noise;
    }
    result.row(i).normalize();
  }
  return result;
}

TEST(LinearHead, SitsWhereTheLossIsFlat) {
  for (const std::uint32_t categoryCount : {2U, 3U}) {
    SCOPED_TRACE(categoryCount);
    std::vector<std::uint32_t> categories;
    const RowMatrix x = points(300, categories, categoryCount);
    const double c = 5;
    const LinearHead head = fitHead(x, categories, categoryCount, {}, {c, 2});
    RowMatrix gradient = head.weights;
    Eigen::VectorXd biasGradient = Eigen::VectorXd::Zero(categoryCount);
    for (Index i = 0; i < x.rows(); ++i) {
      Eigen::VectorXd p = (head.weights * x.row(i).transpose() + head.bias).array().exp();
      p /= p.sum();
      p[categories[static_cast<std::size_t>(i)]] -= 1;
      gradient += c * p * x.row(i);
      biasGradient += c * p;
    }
    EXPECT_LT(gradient.norm(), 1e-4);
    EXPECT_LT(biasGradient.norm(), 1e-3);
    EXPECT_LT(head.steps, 30);
  }
}

TEST(LinearHead, AWeightOfTwoIsAPageTwice) {
  std::vector<std::uint32_t> categories;
  const RowMatrix x = points(60, categories, 2);
  std::vector<double> weights(60, 1.0);
  weights[5] = 2;
  RowMatrix more(61, 3);
  more.topRows(60) = x;
  more.row(60) = x.row(5);
  std::vector<std::uint32_t> moreCategories = categories;
  moreCategories.push_back(categories[5]);
  const LinearHead weighted = fitHead(x, categories, 2, weights, {10, 1});
  const LinearHead repeated = fitHead(more, moreCategories, 2, {}, {10, 1});
  EXPECT_LT((weighted.weights - repeated.weights).norm(), 1e-5);
}

TEST(FoldedBasis, KeepsTheHeadAndMostOfTheLength) {
  std::vector<std::uint32_t> categories;
  const RowMatrix x = points(300, categories, 2);
  const LinearHead head = fitHead(x, categories, 2, {}, {5, 1});
  const RowMatrix basis = foldedBasis(x, head, 2);
  ASSERT_EQ(basis.rows(), 3);
  ASSERT_EQ(basis.cols(), 2);
  EXPECT_LT((basis.transpose() * basis - Eigen::MatrixXd::Identity(2, 2)).norm(), 1e-9);
  const Eigen::VectorXd difference = (head.weights.row(1) - head.weights.row(0)).transpose();
  EXPECT_LT((basis * (basis.transpose() * difference) - difference).norm(), 1e-9 * difference.norm());
  EXPECT_GT((x * basis).squaredNorm(), 0.5 * x.squaredNorm());
}

}  // namespace
}  // namespace sifterra::lsm
