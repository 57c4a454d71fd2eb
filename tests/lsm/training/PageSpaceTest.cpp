// Where pages stand when they are scored, and what a map must get right beside them.
#include "lsm/training/PageSpace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;
using Part = PageSpace::Part;

constexpr Index kRank = 6;

// Words of one script only, unless a test adds others; rows of chance, the same ones each time.
struct Space {
  explicit Space(const std::vector<TinyPage>& given, std::size_t threads = 2)
      : corpus(tinyCorpus(given)),
        matrix(corpus, vocabulary, {64, 0.7, threads}),
        rows(chance(static_cast<Index>(vocabulary.termCount() + matrix.signatureCount()))),
        pages(corpus, vocabulary, matrix, rows, threads) {}

  static RowMatrix chance(Index count) {
    std::mt19937 random(3);
    RowMatrix rows(count, kRank);
    for (Index i = 0; i < rows.size(); ++i) rows.data()[i] = static_cast<double>(random() % 2001) / 1000 - 1;
    return rows;
  }
  [[nodiscard]] Index firstSignature() const { return static_cast<Index>(vocabulary.known().size()); }
  // The row of the table's term that a word is.
  [[nodiscard]] Eigen::RowVectorXd row(const std::string& word) const {
    const Vocabulary::Terms terms = vocabulary.terms(corpus.find(word));
    EXPECT_EQ(terms.count, 1U) << word;
    const bool isKnown = *terms.first < vocabulary.known().size();
    return rows.row(static_cast<Index>(*terms.first + (isKnown ? 0 : matrix.signatureCount())));
  }
  [[nodiscard]] Eigen::RowVectorXd pointOf(const std::vector<std::string>& words) const {
    Eigen::RowVectorXd sum = rows.row(firstSignature());
    for (const std::string& word : words) sum += row(word);  // log2(1 + tf) is 1
    return sum / sum.norm();
  }

  TrainingCorpus corpus;
  Vocabulary vocabulary{corpus, {1000, 2, kAllWordScripts}};
  TermMatrix matrix;
  RowMatrix rows;
  PageSpace pages;
};

// Page 0 and 1 of a corpus whose words are all known.
std::vector<TinyPage> pagesWith(const std::u16string& first, const std::u16string& second) {
  std::vector<TinyPage> pages;
  for (int i = 0; i < 2; ++i) {
    pages.push_back({first, 1, "one.example"});
    pages.push_back({second, 2, "two.example"});
  }
  return pages;
}

void expectPoint(const RowMatrix& points, Index page, const Eigen::RowVectorXd& expected) {
  EXPECT_NEAR((points.row(page) - expected).norm(), 0, 1e-12) << page;
}

TEST(PageSpace, APageStandsWhereItIsScored) {
  const Space space(pagesWith(u"garden kitchen", u"movies kitchen bedroom"));
  const RowMatrix points = space.pages.points(Part::kWhole);
  ASSERT_EQ(points.rows(), 4);
  expectPoint(points, 0, space.pointOf({"garden", "kitchen"}));
  // Scored with the signature word of category 1 and not with its own.
  expectPoint(points, 1, space.pointOf({"movies", "kitchen", "bedroom"}));
  for (Index page = 0; page < points.rows(); ++page) EXPECT_NEAR(points.row(page).norm(), 1, 1e-12);
}

TEST(PageSpace, WhatIsLeftOfAPageIsNotOfItsMainScript) {
  const Space space(pagesWith(u"garden kitchen 18 2024 \u043c\u0438\u0440",
                              u"\u043c\u0438\u0440 \u0434\u043e\u043c \u0447\u0430\u0441 movies 18"));
  const RowMatrix points = space.pages.points(Part::kRemains);
  expectPoint(points, 0, space.pointOf({"18", "#4", "\u043c\u0438\u0440"}));
  expectPoint(points, 1, space.pointOf({"movies", "18"}));
}

TEST(PageSpace, OfAPageInOneScriptTheSignatureIsLeft) {
  const Space space(pagesWith(u"garden kitchen", u"movies bedroom"));
  const RowMatrix points = space.pages.points(Part::kRemains);
  expectPoint(points, 0, space.pointOf({}));
  expectPoint(points, 1, space.pointOf({}));
}

// Numbers are of no script, however many there are.
TEST(PageSpace, NumbersAreNeverTheMainScript) {
  const Space space(pagesWith(u"18 21 69 7 42 garden", u"movies 18"));
  expectPoint(space.pages.points(Part::kRemains), 0, space.pointOf({"18", "21", "69", "#1", "#2"}));
}

TEST(PageSpace, WordsThatTheMapSpellsStandWithTheOthers) {
  std::vector<TinyPage> pages = pagesWith(u"garden kitchen", u"movies");
  pages[0].text += u" \u0437\u0438\u043c\u043e\u0439";  // on one page only: not known
  const Space space(pages);
  const std::string word = "\u0437\u0438\u043c\u043e\u0439";
  ASSERT_EQ(space.vocabulary.spelt().size(), 1U);
  expectPoint(space.pages.points(Part::kWhole), 0, space.pointOf({"garden", "kitchen", word}));
  expectPoint(space.pages.points(Part::kRemains), 0, space.pointOf({word}));
}

TEST(PageSpace, ProjectedPagesStandInTheDirectionsOfTheBasis) {
  Space space(pagesWith(u"garden kitchen", u"movies bedroom"));
  const RowMatrix before = space.pages.points(Part::kWhole);
  // Turned, nothing left out: the same pages, seen from elsewhere.
  RowMatrix turn = RowMatrix::Zero(kRank, kRank);
  for (Index i = 0; i < kRank; ++i) turn(i, (i + 1) % kRank) = i % 2 == 0 ? 1 : -1;
  space.pages.project(turn);
  EXPECT_NEAR((space.pages.points(Part::kWhole) - before * turn).norm(), 0, 1e-12);
  space.pages.project(RowMatrix::Identity(kRank, 2));
  EXPECT_EQ(space.pages.rows().cols(), 2);
  EXPECT_EQ(space.pages.points(Part::kWhole).cols(), 2);
}

double marginOf(const LinearHead& head, const Eigen::RowVectorXd& point) {
  const Eigen::VectorXd scores = head.weights * point.transpose() + head.bias;
  return scores[1] - scores[0];
}

// What stands on pages of category 2 more often says nothing when nothing else is known of a page.
TEST(PageSpace, TheHeadTakesRemainsTheEmptyTextAndSignaturesForWhatTheyAre) {
  std::vector<TinyPage> given = tinyPages(200);
  for (std::size_t i = 0; i < given.size(); ++i) {
    if (i / 2 * 37 % 100 < (given[i].category == 2 ? 30 : 20)) given[i].text += u"18 2257 69\n";
  }
  const Space space(given);
  std::string why;
  const LatentSpace latent = latentSpace(space.matrix, 12, why);
  const RowMatrix rows = termRows(space.matrix, latent.features);
  const PageSpace pages(space.corpus, space.vocabulary, space.matrix, rows, 2);
  const LinearHead head = pages.fittedHead(100);
  ASSERT_EQ(head.weights.rows(), 2);

  const RowMatrix remains = pages.points(Part::kRemains);
  const RowMatrix whole = pages.points(Part::kWhole);
  std::vector<std::uint32_t> categories;
  std::size_t right = 0;
  for (Index page = 0; page < whole.rows(); ++page) {
    EXPECT_LT(marginOf(head, remains.row(page)), 0) << page;
    categories.push_back(space.corpus.pages()[static_cast<std::size_t>(page)].category);
    right += (marginOf(head, whole.row(page)) > 0) == (categories.back() == 1) ? 1U : 0U;
  }
  EXPECT_GE(right, categories.size() * 97 / 100);
  EXPECT_LT(marginOf(head, Eigen::RowVectorXd::Zero(12)), 0);
  for (Index c = 0; c < 2; ++c) {
    const Eigen::RowVectorXd signature = rows.row(space.firstSignature() + c).normalized();
    EXPECT_EQ(marginOf(head, signature) > 0, c == 1) << c;
  }
}

TEST(PageSpace, AnyNumberOfThreadsGivesTheSameBits) {
  const std::vector<TinyPage> pages = tinyPages(700);
  const Space one(pages, 1);
  const Space eight(pages, 8);
  EXPECT_TRUE(one.pages.points(Part::kWhole) == eight.pages.points(Part::kWhole));
  EXPECT_TRUE(one.pages.points(Part::kRemains) == eight.pages.points(Part::kRemains));
  EXPECT_TRUE(one.pages.fittedHead(100).weights == eight.pages.fittedHead(100).weights);
}

}  // namespace
}  // namespace sifterra::lsm
