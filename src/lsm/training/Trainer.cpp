#include "lsm/training/Trainer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "lsm/MapFile.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/FoldedBasis.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/Vocabulary.h"
#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// A signature word stands once in every page that is scored; this much of its row keeps that from moving a
// page of ten words. Alone it is a direction, which no factor changes.
constexpr double kSignatureScale = 0.1;
// The parameters of window pooling; the windows are half overlapping.
constexpr std::uint32_t kWindowTokens = 512;
constexpr std::uint32_t kBestWindows = 3;
constexpr float kWindowPenalty = 4.0f;
// A map that misses more of the last category is none.
constexpr double kLeastRecall = 0.5;

class Training {
 public:
  Training(TrainingCorpus& corpus, const TrainingOptions& options, TrainingSummary& summary, std::string& why)
      : _corpus(corpus), _options(options), _summary(summary), _why(why) {}

  std::optional<MapContents> run();

 private:
  void report(const char* stage) const {
    if (_options.progress) _options.progress(stage);
  }
  bool splitPages();
  bool learn();
  [[nodiscard]] RowMatrix pagePoints(const TermMatrix& table, const RowMatrix& rows) const;
  void fillWords(const TermMatrix& table, const Vocabulary& vocabulary, const RowMatrix& rows);
  void fillBuckets(const TermMatrix& table, const RowMatrix& features);
  void fillHead(const LinearHead& head);
  bool calibrate();
  bool countRecognised(const LsmMap& map);
  [[nodiscard]] LsmMap openMap();

  TrainingCorpus& _corpus;
  const TrainingOptions& _options;
  TrainingSummary& _summary;
  std::string& _why;
  MapContents _contents;
};

std::optional<MapContents> Training::run() {
  if (!splitPages() || !learn() || !calibrate()) return std::nullopt;
  return std::move(_contents);
}

bool Training::splitPages() {
  if (_corpus.categoryCount() < 2) {
    _why = "pages of two categories or more are needed";
    return false;
  }
  _summary.categories.assign(_corpus.categoryCount(), {});
  std::vector<std::size_t> pages(_corpus.categoryCount(), 0);
  for (const CorpusPage& page : _corpus.pages()) ++pages[page.category];
  for (std::size_t c = 0; c < pages.size(); ++c) {
    if (pages[c] != 0) continue;
    _why = "category " + std::to_string(c + 1) + " has no usable page";
    return false;
  }
  if (!_corpus.split(_options.calibrationShare, _why)) return false;
  for (const CorpusPage& page : _corpus.pages()) {
    CategorySummary& category = _summary.categories[page.category];
    ++(page.calibrates ? category.calibrating : category.teaching);
  }
  _summary.sites = _corpus.siteCount();
  _summary.differentWords = _corpus.words().size();
  return true;
}

bool Training::learn() {
  report("choosing words");
  std::size_t minScriptPages = _options.minScriptPages;
  if (minScriptPages == 0) {
    const CategorySummary& first = _summary.categories[0];
    minScriptPages = std::clamp<std::size_t>((first.teaching + first.calibrating) / 10, 20, 200);
  }
  _contents.scripts = scriptsWithEnoughPages(_corpus, minScriptPages);
  const std::size_t categories = _corpus.categoryCount();
  const Vocabulary vocabulary(_corpus, {_options.maxWords - categories, 2, _contents.scripts});
  if (vocabulary.known().empty()) {
    _why = "no word stands in two pages of a script that has enough pages of category 1";
    return false;
  }
  report("weighing words");
  const TermMatrix table(_corpus, vocabulary, {_options.buckets, _options.nGramWeight, _options.threads});
  report("finding directions");
  const LatentSpace space = latentSpace(table, std::max(_options.rank, _options.latentRank), _why);
  if (space.features.size() == 0) return false;
  report("fitting the categories");
  RowMatrix rows = termRows(table, space);
  rows.middleRows(static_cast<Index>(vocabulary.known().size()), static_cast<Index>(categories)) *= kSignatureScale;
  std::vector<std::uint32_t> labels;
  for (std::size_t i = 0; i < table.pageCount(); ++i) {
    labels.push_back(_corpus.pages()[table.corpusPage(i)].category);
  }
  RowMatrix points = pagePoints(table, rows);
  LinearHead head = fitHead(points, labels, _corpus.categoryCount(), {}, {_options.headC, _options.threads});
  RowMatrix features = space.features;
  if (_options.rank < space.rank()) {
    report("folding directions");
    const RowMatrix basis = foldedBasis(points, head, _options.rank);
    rows *= basis;
    features *= basis;
    points = pagePoints(table, rows);
    head = fitHead(points, labels, _corpus.categoryCount(), {}, {_options.headC, _options.threads});
  }
  _contents.categoryCount = _corpus.categoryCount();
  _contents.rank = static_cast<std::uint32_t>(rows.cols());
  _contents.bucketCount = _options.buckets;
  _contents.windowTokens = kWindowTokens;
  _contents.bestWindows = kBestWindows;
  _contents.windowPenalty = kWindowPenalty;
  fillWords(table, vocabulary, rows);
  fillBuckets(table, features);
  fillHead(head);
  _summary.words = _contents.words.size();
  _summary.rank = _contents.rank;
  return true;
}

// Where each page stands when it is scored: it then holds the signature of category 1, whatever it is.
RowMatrix Training::pagePoints(const TermMatrix& table, const RowMatrix& rows) const {
  const SparseRows& local = table.localWeights();
  const auto firstSignature = static_cast<Index>(table.wordCount() - table.signatureCount());
  const auto afterSignatures = static_cast<Index>(table.wordCount());
  RowMatrix points = RowMatrix::Zero(local.rows(), rows.cols());
  parallelFor(_options.threads, static_cast<std::size_t>(local.rows()), 512,
              [&](std::size_t, std::size_t from, std::size_t to) {
                for (std::size_t i = from; i < to; ++i) {
                  const auto page = static_cast<Index>(i);
                  auto point = points.row(page);
                  for (SparseRows::InnerIterator term(local, page); term; ++term) {
                    if (term.col() >= firstSignature && term.col() < afterSignatures) continue;
                    point += term.value() * rows.row(term.col());
                  }
                  point += rows.row(firstSignature);
                  const double length = point.norm();
                  if (length > 0) point /= length;
                }
              });
  return points;
}

void Training::fillWords(const TermMatrix& table, const Vocabulary& vocabulary, const RowMatrix& rows) {
  const std::size_t known = vocabulary.known().size();
  for (std::size_t w = 0; w < table.wordCount(); ++w) {
    MapWord word;
    word.weight = static_cast<float>(table.wordWeights()[w]);
    if (w < known) {
      word.text = _corpus.words()[vocabulary.known()[w]].text;
      word.splitCost = vocabulary.splitCosts()[w];
    } else {
      word.text = signatureToken(static_cast<std::uint32_t>(w - known + 1));
      word.splitCost = std::numeric_limits<float>::infinity();
    }
    _contents.words.push_back(std::move(word));
    for (Index k = 0; k < rows.cols(); ++k) {
      _contents.wordRows.push_back(static_cast<float>(rows(static_cast<Index>(w), k)));
    }
  }
}

void Training::fillBuckets(const TermMatrix& table, const RowMatrix& features) {
  for (std::size_t b = 0; b < table.bucketCount(); ++b) {
    const double weight = _options.nGramWeight * table.bucketWeights()[b];
    for (Index k = 0; k < features.cols(); ++k) {
      _contents.bucketRows.push_back(
          static_cast<float>(weight * features(static_cast<Index>(table.wordCount() + b), k)));
    }
  }
}

void Training::fillHead(const LinearHead& head) {
  for (Index c = 0; c < head.weights.rows(); ++c) {
    for (Index k = 0; k < head.weights.cols(); ++k) {
      _contents.head.push_back(static_cast<float>(head.weights(c, k)));
    }
    _contents.bias.push_back(static_cast<float>(head.bias[c]));
  }
}

LsmMap Training::openMap() {
  const std::string bytes = mapFileBytes(_contents, _why);
  return bytes.empty() ? nullptr : Map::ofBytes(MapBytes::copyOf(bytes), _why);
}

bool Training::calibrate() {
  report("calibrating");
  LsmMap map = openMap();
  if (map == nullptr) return false;
  std::vector<const CorpusPage*> pages;
  for (const CorpusPage& page : _corpus.pages()) {
    if (page.calibrates && page.category == 0) pages.push_back(&page);
  }
  std::vector<double> margins(pages.size());
  parallelFor(_options.threads, pages.size(), 64, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) margins[i] = marginOf(map, pages[i]->scored.text());
  });
  if (margins.size() < 2) {
    _why = "the map does not calibrate: too few pages of category 1 are held back";
    return false;
  }
  const MarginTail tail = fitTail(margins);
  const double shift = logOdds(kOperatingScore) - tail.marginExceededBy(_options.falsePositiveRate);
  _summary.falsePositives = _options.falsePositiveRate;
  _summary.biasShift = shift;
  _contents.bias.back() += static_cast<float>(shift);
  if (_options.threshold) _contents.properties[kLsmExplicitThreshold] = *_options.threshold;
  map = openMap();
  return map != nullptr && countRecognised(map);
}

bool Training::countRecognised(const LsmMap& map) {
  std::vector<const CorpusPage*> pages;
  for (const CorpusPage& page : _corpus.pages()) {
    if (page.calibrates) pages.push_back(&page);
  }
  std::vector<char> recognised(pages.size());
  parallelFor(_options.threads, pages.size(), 64, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      const bool last = marginOf(map, pages[i]->scored.text()) > logOdds(kOperatingScore);
      recognised[i] = last == (pages[i]->category + 1 == _corpus.categoryCount());
    }
  });
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (recognised[i] != 0) ++_summary.categories[pages[i]->category].recognised;
  }
  const CategorySummary& last = _summary.categories.back();
  (void)last;
  return true;
}

}  // namespace

std::optional<MapContents> trainMap(TrainingCorpus& corpus, const TrainingOptions& options,
                                    TrainingSummary& summary, std::string& why) {
  summary = {};
  return Training(corpus, options, summary, why).run();
}

}  // namespace sifterra::lsm
