#include "lsm/training/Trainer.h"

#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <limits>

#include "lsm/MapFile.h"
#include "lsm/training/FoldedBasis.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/OperatingPoint.h"
#include "lsm/training/PageSpace.h"
#include "lsm/training/SharedPages.h"
#include "lsm/training/TellingWords.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/TunedScores.h"
#include "lsm/training/Vocabulary.h"
#include "lsm/training/remember_pages.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

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
  void fillWords(const TermMatrix& table, const Vocabulary& vocabulary, const RowMatrix& rows);
  void fillBuckets(const TermMatrix& table, const RowMatrix& features);
  void fillHead(const LinearHead& head);
  void tune(const TermMatrix& table, PageSpace& pages, LinearHead& head, RowMatrix& features);

  TrainingCorpus& _corpus;
  const TrainingOptions& _options;
  TrainingSummary& _summary;
  std::string& _why;
  MapContents _contents;
};

std::optional<MapContents> Training::run() {
  shareSites(_corpus, *_options.reduction);
  if (!splitPages() || !learn()) return std::nullopt;
  const TeachingPages teaching = rememberWords(_corpus, *_options.reduction, _contents);
  gatherHeldBack(_corpus, _options.mostGathered, *_options.reduction);
  gatherTeachers(_corpus, kRememberedOfLast, *_options.reduction);
  if (_options.reduction->rank() != 0) return std::nullopt;
  report("calibrating");
  if (!setOperatingPoint(_corpus, _options, _contents, _summary, _why)) return std::nullopt;
  report("remembering");
  if (!remember(_corpus, teaching, _options.threads, _contents, _why)) return std::nullopt;
  return std::move(_contents);
}

bool Training::splitPages() {
  if (_corpus.categoryCount() < 2) {
    _why = "pages of two categories or more are needed";
    return false;
  }
  _summary.categories.assign(_corpus.categoryCount(), {});
  std::vector<double> pages(_corpus.categoryCount(), 0);
  for (const CorpusPage& page : _corpus.pages()) ++pages[page.category];
  _options.reduction->sum(pages.data(), pages.size());
  for (std::size_t c = 0; c < pages.size(); ++c) {
    if (pages[c] != 0) continue;
    _why = "category " + std::to_string(c + 1) + " has no usable page";
    return false;
  }
  if (!_corpus.split(_options.calibrationShare, _options.lastCalibrationShare, _why)) return false;
  for (const CorpusPage& page : _corpus.pages()) {
    CategorySummary& category = _summary.categories[page.category];
    ++(page.calibrates ? category.calibrating : category.teaching);
  }
  for (CategorySummary& category : _summary.categories) {
    for (std::size_t* count : {&category.teaching, &category.calibrating})
      *count = static_cast<std::size_t>(_options.reduction->sum(static_cast<double>(*count)));
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
  _contents.scripts = scriptsWithEnoughPages(_corpus, minScriptPages, *_options.reduction);
  _summary.scriptsLeftOut = scriptsLeftOut(_corpus, _contents.scripts, *_options.reduction);
  const std::size_t categories = _corpus.categoryCount();
  VocabularyOptions words{_options.maxWords - categories, 2, _contents.scripts, nullptr};
  ChosenWords chosen;
  if (_options.reduction->distributed()) {
    chosen = chooseSharedWords(_corpus, words, *_options.reduction);
    words.chosen = &chosen;
    _summary.differentWords = chosen.differentWords;
  }
  const Vocabulary vocabulary(_corpus, words);
  if (vocabulary.known().empty()) {
    _why = "no word stands in two pages of a script that has enough pages of category 1";
    return false;
  }
  report("weighing words");
  const TermMatrix table(_corpus, vocabulary,
                         {_options.buckets, _options.nGramWeight, _options.threads, _options.reduction});
  report("finding directions");
  const LatentSpace space = latentSpace(table, std::max(_options.rank, _options.latentRank), _why);
  if (space.features.size() == 0) return false;
  report("fitting the categories");
  PageSpace pages(_corpus, vocabulary, table, termRows(table, space.features), _options.threads);
  LinearHead head = pages.fittedHead(_options.headC);
  RowMatrix features = space.features;
  report("folding directions");
  const RowMatrix basis =
      foldedBasis(pages.points(PageSpace::Part::kWhole), head, _options.rank, *_options.reduction);
  pages.project(basis);
  features *= basis;
  head = pages.fittedHead(_options.headC);
  if (_options.tuning > 0) tune(table, pages, head, features);
  _contents.categoryCount = _corpus.categoryCount();
  _contents.rank = static_cast<std::uint32_t>(features.cols());
  _contents.bucketCount = _options.buckets;
  _contents.windowTokens = _options.windowTokens;
  _contents.bestWindows = _options.bestWindows;
  fillWords(table, vocabulary, pages.rows());
  fillBuckets(table, features);
  fillHead(head);
  _contents.nearKeys = tellingWordKeys(_corpus, vocabulary, _options.tellingWords, *_options.reduction);
  _summary.words = _contents.words.size();
  _summary.rank = _contents.rank;
  return true;
}

// The directions in which the head tells the categories apart give way to scores that are learnt word by
// word. They keep their scale, so that a text is as long as it was.
void Training::tune(const TermMatrix& table, PageSpace& pages, LinearHead& head, RowMatrix& features) {
  report("tuning words");
  const auto categories = static_cast<Index>(_corpus.categoryCount());
  const Index directions = categories - 1;
  const RowMatrix apart = (head.weights.bottomRows(directions).rowwise() - head.weights.row(0)).transpose();
  if (features.cols() < directions) return;
  const Eigen::HouseholderQR<Eigen::MatrixXd> split(apart);
  const Eigen::MatrixXd scale = split.matrixQR().topRows(directions).triangularView<Eigen::Upper>();
  if (scale.diagonal().cwiseAbs().minCoeff() < 1e-6 * scale.norm()) return;
  const Eigen::MatrixXd turn = split.householderQ();
  features = features * turn;
  pages.project(turn);
  const RowMatrix points = pages.examplePoints();
  std::vector<double> lengths;
  for (Index i = 0; i < points.rows(); ++i) lengths.push_back(points.row(i).norm());
  TunedScores scores;
  scores.features = features.leftCols(directions) * scale;
  scores.bias = head.bias.tail(directions).array() - head.bias[0];
  scores =
      tunedScores(table, pages.examples(), lengths, std::move(scores), {_options.tuning, _options.threads});
  features.leftCols(directions) =
      scale.transpose().triangularView<Eigen::Lower>().solve(scores.features.transpose()).transpose();
  pages.setRows(termRows(table, features));
  head.weights.setZero();
  head.weights.bottomLeftCorner(directions, directions) = scale.transpose();
  head.bias[0] = 0;
  head.bias.tail(directions) = scores.bias;
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

}  // namespace

std::optional<MapContents> trainMap(TrainingCorpus& corpus, const TrainingOptions& options,
                                    TrainingSummary& summary, std::string& why) {
  summary = {};
  return Training(corpus, options, summary, why).run();
}

}  // namespace sifterra::lsm
