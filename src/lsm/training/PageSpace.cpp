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
  fillExamples();
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

void PageSpace::addExample(std::uint32_t category, double weight) {
  _examples.categories.push_back(category);
  _examples.weights.push_back(weight);
}

// The page with all its words, and, of category 1, what is left when its script says nothing, numbers and
// foreign words: still of category 1, for so is what a map reads of a page in a script that it does not
// judge.
void PageSpace::addPageExamples(std::size_t page, Entries& entries) {
  const auto firstSignature = static_cast<Index>(_table.wordCount() - _table.signatureCount());
  const auto afterSignatures = static_cast<Index>(_table.wordCount());
  const CorpusPage& corpusPage = _corpus.pages()[_table.corpusPage(page)];
  const WordScript left = mainScript(corpusPage);
  for (const bool whole : {true, false}) {
    if (!whole && corpusPage.category != 0) continue;
    const auto row = static_cast<int>(_examples.categories.size());
    for (SparseRows::InnerIterator term(_table.localWeights(), static_cast<Index>(page)); term; ++term) {
      if (term.col() >= firstSignature && term.col() < afterSignatures) continue;
      if (!whole && _scripts[static_cast<std::size_t>(term.col())] == left) continue;
      entries.emplace_back(row, static_cast<int>(term.col()), term.value());
    }
    entries.emplace_back(row, static_cast<int>(firstSignature), 1.0);
    addExample(corpusPage.category, whole ? 1 : kRemainsWeight);
  }
}

// Besides pages: each signature word alone is of its category. A text without a word, which stands nowhere,
// is of category 1; without that the biases could be anything that a direction which all pages share makes up
// for.
void PageSpace::fillExamples() {
  Entries entries;
  for (std::size_t page = 0; page < _table.pageCount(); ++page) addPageExamples(page, entries);
  const double anchorWeight = kAnchorShare * static_cast<double>(_table.pageCount());
  const std::size_t signatures = _table.signatureCount();
  for (std::size_t s = 0; s < signatures; ++s) {
    entries.emplace_back(static_cast<int>(_examples.categories.size()),
                         static_cast<int>(_table.wordCount() - signatures + s), 1.0);
    addExample(static_cast<std::uint32_t>(s), anchorWeight);
  }
  addExample(0, anchorWeight);
  _examples.terms.resize(static_cast<Index>(_examples.categories.size()), _table.localWeights().cols());
  _examples.terms.setFromTriplets(entries.begin(), entries.end());
}

RowMatrix PageSpace::examplePoints() const {
  const auto count = static_cast<std::size_t>(_examples.terms.rows());
  RowMatrix points = RowMatrix::Zero(_examples.terms.rows(), _rows.cols());
  parallelFor(_threads, count, 512, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      const auto row = static_cast<Index>(i);
      for (SparseRows::InnerIterator term(_examples.terms, row); term; ++term) {
        points.row(row) += term.value() * _rows.row(term.col());
      }
    }
  });
  return points;
}

LinearHead PageSpace::fittedHead(double c) const {
  RowMatrix points = examplePoints();
  for (Index i = 0; i < points.rows(); ++i) {
    const double length = points.row(i).norm();
    if (length > 0) points.row(i) /= length;
  }
  return fitHead(points, _examples.categories, static_cast<std::uint32_t>(_table.signatureCount()),
                 _examples.weights, {c, _threads, &_table.reduction()});
}

}  // namespace sifterra::lsm
