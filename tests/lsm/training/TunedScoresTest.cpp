// TunedScoresTest: scores that are learnt word by word, against the plain loss that they minimise.
#include "lsm/training/TunedScores.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

RowMatrix chance(Index rows, Index columns, unsigned seed, double size) {
  std::mt19937 random(seed);
  RowMatrix result(rows, columns);
  for (Index i = 0; i < result.size(); ++i)
    result.data()[i] = size * (static_cast<double>(random() % 2001) / 1000 - 1);
  return result;
}

struct Given {
  explicit Given(std::uint32_t categories)
      : corpus(tinyCorpus(tinyPages(15, categories))),
        table(corpus, vocabulary, {1024, 0.7, 2}),
        space(corpus, vocabulary, table, chance(table.localWeights().cols(), 4, 5, 1), 2),
        directions(categories - 1) {
    const RowMatrix points = space.examplePoints();
    for (Index i = 0; i < points.rows(); ++i) lengths.push_back(points.row(i).norm());
  }
  [[nodiscard]] TunedScores start() const {
    return {chance(static_cast<Index>(table.wordCount() + table.bucketCount()), directions, 8, 0.5),
            Eigen::VectorXd::Constant(directions, 0.1), 0};
  }
  [[nodiscard]] TunedScores tuned(double c, std::size_t threads = 1) const {
    return tunedScores(table, space.examples(), lengths, start(), {c, threads});
  }
  // By its definition, with the table written out.
  [[nodiscard]] double loss(const TunedScores& at, double c) const;

  TrainingCorpus corpus;
  Vocabulary vocabulary{corpus, {60, 2, kAllWordScripts}};
  TermMatrix table;
  PageSpace space;
  Index directions;
  std::vector<double> lengths;
};

double Given::loss(const TunedScores& at, double c) const {
  const auto words = static_cast<Index>(table.wordCount());
  const auto features = words + static_cast<Index>(table.bucketCount());
  Eigen::MatrixXd ofTerms = Eigen::MatrixXd::Zero(table.nGrams().rows(), features);
  for (Index w = 0; w < words; ++w) ofTerms(w, w) = table.wordWeights()[static_cast<std::size_t>(w)];
  const Eigen::MatrixXd grams(table.nGrams());
  for (Index b = 0; b < grams.cols(); ++b)
    ofTerms.col(words + b) = table.bucketWeights()[static_cast<std::size_t>(b)] * grams.col(b);
  const Examples& examples = space.examples();
  const Eigen::MatrixXd z = Eigen::MatrixXd(examples.terms) * ofTerms * at.features;
  double loss = 0.5 * (at.features - start().features).squaredNorm();
  for (Index i = 0; i < z.rows(); ++i) {
    const double length = lengths[static_cast<std::size_t>(i)];
    double sum = 1;  // of exp(z), category 1 has 0
    double own = 0;
    for (Index d = 0; d < directions; ++d) {
      const double value = (length > 0 ? z(i, d) / length : 0) + at.bias[d];
      sum += std::exp(value);
      if (examples.categories[static_cast<std::size_t>(i)] == static_cast<std::uint32_t>(d + 1)) own = value;
    }
    loss += c * examples.weights[static_cast<std::size_t>(i)] * (std::log(sum) - own);
  }
  return loss;
}

TEST(TunedScores, HaveTheLeastLoss) {
  constexpr double kC = 4;
  for (const std::uint32_t categories : {2U, 3U}) {
    const Given given(categories);
    const TunedScores tuned = given.tuned(kC);
    const double least = given.loss(tuned, kC);
    EXPECT_LT(least, 0.95 * given.loss(given.start(), kC));
    EXPECT_GT(tuned.steps, 1);
    for (unsigned seed = 0; seed < 20; ++seed) {
      TunedScores other = tuned;
      const double size = seed % 2 == 0 ? 0.01 : 0.1;
      other.features += chance(other.features.rows(), other.features.cols(), seed, size);
      other.bias.array() += seed % 3 == 0 ? size : -size;
      EXPECT_GT(given.loss(other, kC), least * (1 - 2e-5)) << seed;
    }
  }
}

TEST(TunedScores, StayWhereTheyWereWhenPagesCountForNothing) {
  const Given given(2);
  const TunedScores tuned = given.tuned(1e-9);
  EXPECT_LT((tuned.features - given.start().features).norm(), 1e-6);
}

TEST(TunedScores, OfWhatNoPageHoldsStay) {
  const Given given(2);
  const TunedScores tuned = given.tuned(4);
  const TunedScores start = given.start();
  const auto words = static_cast<Index>(given.table.wordCount());
  std::size_t unseen = 0;
  for (Index b = 0; b < static_cast<Index>(given.table.bucketCount()); ++b) {
    if (given.table.nGramsTransposed().row(b).nonZeros() != 0) continue;
    ++unseen;
    EXPECT_EQ(tuned.features.row(words + b), start.features.row(words + b));
  }
  EXPECT_GT(unseen, 0U);
}

TEST(TunedScores, AreTheSameBitsFromAnyNumberOfThreads) {
  const Given given(3);
  const TunedScores one = given.tuned(4, 1);
  for (const std::size_t threads : {2, 8}) {
    const TunedScores other = given.tuned(4, threads);
    EXPECT_TRUE(one.features == other.features);
    EXPECT_TRUE(one.bias == other.bias);
    EXPECT_EQ(one.steps, other.steps);
  }
}

}  // namespace
}  // namespace sifterra::lsm
