#include "lsm/training/PageSpace.h"

#include <algorithm>
#include <array>
#include <utility>

#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// What is left of a page counts as so much of a page.
constexpr double kRemainsWeight = 0.2;
// Each thing that every map must get right counts as this share of all pages.
constexpr double kAnchorShare = 0.01;

}  // namespace

PageSpace::PageSpace(const TrainingCorpus& corpus, const Vocabulary& vocabulary, const TermMatrix& table,
                     RowMatrix rows, std::size_t threads)
    : _corpus(corpus), _table(table), _rows(std::move(rows)), _threads(threads) {
  for (const std::uint32_t word : vocabulary.known()) _scripts.push_back(corpus.words()[word].script);
  _scripts.insert(_scripts.end(), table.signatureCount(), WordScript::kCommon);
  for (const std::uint32_t word : vocabulary.spelt()) _scripts.push_back(corpus.words()[word].script);
}

RowMatrix PageSpace::points(Part part) const {
  RowMatrix points = RowMatrix::Zero(static_cast<Index>(_table.pageCount()), _rows.cols());
  parallelFor(_threads, _table.pageCount(), 512, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t page = from; page < to; ++page) addPage(page, part, points);
  });
  return points;
}

// When a page is scored it holds the signature of category 1, whatever it is. That word is what a page of two
// or three words is mostly made of: so little evidence restricts nothing.
void PageSpace::addPage(std::size_t page, Part part, RowMatrix& points) const {
  const auto firstSignature = static_cast<Index>(_table.wordCount() - _table.signatureCount());
  const auto afterSignatures = static_cast<Index>(_table.wordCount());
  const auto row = static_cast<Index>(page);
  WordScript left = WordScript::kCommon;
  if (part == Part::kRemains) left = mainScript(_corpus.pages()[_table.corpusPage(page)]);
  auto point = points.row(row);
  for (SparseRows::InnerIterator term(_table.localWeights(), row); term; ++term) {
    if (term.col() >= firstSignature && term.col() < afterSignatures) continue;
    if (part == Part::kRemains && _scripts[static_cast<std::size_t>(term.col())] == left) continue;
    point += term.value() * _rows.row(term.col());
  }
  point += _rows.row(firstSignature);
  const double length = point.norm();
  if (length > 0) point /= length;
}

// The script that most of a page's words are of, numbers and the like aside.
WordScript PageSpace::mainScript(const CorpusPage& page) const {
  std::array<std::uint64_t, 64> words{};
  for (const WordCount& word : page.words) {
    words[static_cast<std::size_t>(_corpus.words()[word.word].script)] += word.count;
  }
  words[static_cast<std::size_t>(WordScript::kCommon)] = 0;
  return static_cast<WordScript>(std::max_element(words.begin(), words.end()) - words.begin());
}

// Fitted to the pages, and to what every map must get right. What is left of a page of category 1 when its
// script says nothing, numbers and foreign words, is still of category 1: so is what a map reads of a page in
// a script that it does not judge. Each signature word alone is of its category. A text without a word, which
// stands nowhere, is of category 1; without that the biases could be anything that a direction which all
// pages share makes up for.
LinearHead PageSpace::fittedHead(double c) const {
  const RowMatrix whole = points(Part::kWhole);
  const RowMatrix remains = points(Part::kRemains);
  const auto signatures = static_cast<Index>(_table.signatureCount());
  RowMatrix all = RowMatrix::Zero(2 * whole.rows() + signatures + 1, whole.cols());
  std::vector<std::uint32_t> categories;
  std::vector<double> weights;
  const auto add = [&](const Eigen::RowVectorXd& point, std::uint32_t category, double weight) {
    all.row(static_cast<Index>(categories.size())) = point;
    categories.push_back(category);
    weights.push_back(weight);
  };
  for (Index i = 0; i < whole.rows(); ++i) {
    const CorpusPage& page = _corpus.pages()[_table.corpusPage(static_cast<std::size_t>(i))];
    add(whole.row(i), page.category, 1);
    if (page.category == 0) add(remains.row(i), 0, kRemainsWeight);
  }
  const double anchorWeight = kAnchorShare * static_cast<double>(whole.rows());
  for (Index s = 0; s < signatures; ++s) {
    const Eigen::RowVectorXd row = _rows.row(static_cast<Index>(_table.wordCount()) - signatures + s);
    add(row / std::max(row.norm(), 1e-30), static_cast<std::uint32_t>(s), anchorWeight);
  }
  add(Eigen::RowVectorXd::Zero(whole.cols()), 0, anchorWeight);
  all.conservativeResize(static_cast<Index>(categories.size()), Eigen::NoChange);
  return fitHead(all, categories, static_cast<std::uint32_t>(signatures), weights,
                 {c, _threads, &_table.reduction()});
}

}  // namespace sifterra::lsm
