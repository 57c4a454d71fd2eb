#include "lsm/training/Trainer.h"

#include <Eigen/QR>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "lsm/Evaluation.h"
#include "lsm/MapFile.h"
#include "lsm/TextWords.h"
#include "lsm/training/AddedPages.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/FoldedBasis.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/PageSpace.h"
#include "lsm/training/SharedPages.h"
#include "lsm/training/TellingWords.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/TunedScores.h"
#include "lsm/training/Vocabulary.h"
#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// How much less than the whole text a stretch of it may count.
constexpr double kLeastPenalty = 0;
constexpr double kMostPenalty = 1000;
// A map that misses more of the last category is none.
constexpr double kLeastRecall = 0.5;
// The log-odds of the last category for a text without words, and for another category's signature word.
constexpr double kMostAnchorMargin = -1;
// A tail cannot be fitted to fewer.
constexpr std::size_t kFewestMargins = 4;

std::u16string signatureText(std::uint32_t category) {
  const std::string word = signatureToken(category);
  return {word.begin(), word.end()};
}

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
  bool weighStretches();
  bool calibrate();
  bool verify();
  template <class Choose>
  [[nodiscard]] std::vector<double> marginsOf(const LsmMap& map, Choose choose) const;
  [[nodiscard]] LsmMap openMap();

  TrainingCorpus& _corpus;
  const TrainingOptions& _options;
  TrainingSummary& _summary;
  std::string& _why;
  MapContents _contents;
};

std::optional<MapContents> Training::run() {
  shareSites(_corpus, *_options.reduction);
  if (!splitPages() || !learn()) return std::nullopt;
  rememberWords(_corpus, *_options.reduction, _contents);
  gatherHeldBack(_corpus, _options.mostGathered, *_options.reduction);
  if (_options.reduction->rank() != 0 || !calibrate() || !verify()) return std::nullopt;
  report("remembering");
  if (const LsmMap map = openMap()) remember(_corpus, _options.threads, map, _contents);
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

LsmMap Training::openMap() {
  const std::string bytes = mapFileBytes(_contents, _why);
  return bytes.empty() ? nullptr : Map::ofBytes(MapBytes::copyOf(bytes), _why);
}

// How much less than the whole each kind of stretch counts: so much that it adds no more than its share of
// false positives.
bool Training::weighStretches() {
  _contents.partPenalties.assign(kPageParts, 0);
  _contents.partTokens = _options.partTokens;
  _contents.windowPenalty = 0;
  const LsmMap map = openMap();
  if (map == nullptr) return false;
  std::vector<const CorpusPage*> pages;
  for (const CorpusPage& page : _corpus.pages()) {
    if (page.calibrates && page.category == 0) pages.push_back(&page);
  }
  if (pages.size() < kFewestMargins) {
    _why = "the map does not calibrate: only " + std::to_string(pages.size()) +
           " pages of category 1 are on the sites that are held back for it, and " +
           std::to_string(kFewestMargins) + " are the least";
    return false;
  }
  constexpr std::size_t kKinds = static_cast<std::size_t>(StretchKind::kWindow) + 1;
  constexpr double kNone = -std::numeric_limits<double>::infinity();
  std::vector<std::array<double, kKinds>> odds(pages.size());
  parallelFor(_options.threads, pages.size(), 64, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      odds[i].fill(kNone);
      Text text(map);
      text.addWords(pages[i]->scored.text());
      const Judgement judgement = judge(*map, text, true);
      odds[i][static_cast<std::size_t>(judgement.decided.kind)] = judgement.decided.odds;
      for (const Stretch& other : judgement.others)
        odds[i][static_cast<std::size_t>(other.kind)] = other.odds;
    }
  });
  const auto oddsExceededBy = [&](StretchKind kind, double share) {
    std::vector<double> margins;
    for (const auto& page : odds) {
      const double margin = page[static_cast<std::size_t>(kind)];
      if (margin != kNone) margins.push_back(margin);
    }
    const double all = static_cast<double>(pages.size());
    if (margins.size() < kFewestMargins) return std::numeric_limits<double>::infinity();
    return fitTail(margins).marginExceededBy(share * all / static_cast<double>(margins.size()));
  };
  const double whole = oddsExceededBy(StretchKind::kWhole, _options.falsePositiveRate);
  const auto penalty = [&](StretchKind kind, double share) {
    const double most = oddsExceededBy(kind, share * _options.falsePositiveRate);
    return static_cast<float>(std::clamp(most - whole, kLeastPenalty, kMostPenalty));
  };
  for (std::size_t part = 0; part < kPageParts; ++part) {
    _contents.partPenalties[part] = penalty(static_cast<StretchKind>(part), _options.partShare);
  }
  _contents.windowPenalty = penalty(StretchKind::kWindow, _options.windowShare);
  return true;
}

bool Training::calibrate() {
  report("calibrating");
  if (!weighStretches()) return false;
  const LsmMap map = openMap();
  if (map == nullptr) return false;
  const std::vector<double> margins =
      marginsOf(map, [](const CorpusPage& page) { return page.category == 0; });
  const MarginTail tail = fitTail(margins);
  // What every map must get right limits the shift, however well the categories are told apart.
  double most = kMostAnchorMargin - marginOf(map, u"");
  for (std::uint32_t c = 1; c < std::min(_contents.categoryCount, kSignedCategories + 1); ++c) {
    most = std::min(most, kMostAnchorMargin - marginOf(map, signatureText(c)));
  }
  const double shift =
      std::min(logOdds(kOperatingScore) - tail.marginExceededBy(_options.falsePositiveRate), most);
  _summary.falsePositives = estimateShareAbove(margins, logOdds(kOperatingScore) - shift);
  _summary.biasShift = shift;
  _contents.bias.back() += static_cast<float>(shift);
  if (_options.threshold) _contents.properties[kLsmExplicitThreshold] = *_options.threshold;
  return true;
}

// The map as it will be used: does it keep what calibration promised?
bool Training::verify() {
  const LsmMap map = openMap();
  if (map == nullptr) return false;
  for (std::uint32_t c = 1; c <= std::min(_contents.categoryCount, kSignedCategories); ++c) {
    const std::uint32_t best = bestCategory(map, signatureText(c));
    if (best == c) continue;
    _why = "the map does not calibrate: the signature word of category " + std::to_string(c) +
           " is taken for category " + std::to_string(best);
    return false;
  }
  if (bestCategory(map, u"") != 1) {
    _why = "the map does not calibrate: a page without words is not taken for category 1";
    return false;
  }
  for (std::uint32_t c = 0; c < _contents.categoryCount; ++c) {
    const bool isLast = c + 1 == _contents.categoryCount;
    for (const double margin : marginsOf(map, [c](const CorpusPage& page) { return page.category == c; })) {
      _summary.categories[c].recognised += (margin > logOdds(kOperatingScore)) == isLast ? 1 : 0;
    }
  }
  // Of several processes' pages not all may have come here.
  const auto calibrating = static_cast<std::size_t>(
      std::count_if(_corpus.pages().begin(), _corpus.pages().end(), [this](const CorpusPage& page) {
        return page.calibrates && page.category + 1 == _contents.categoryCount;
      }));
  const CategorySummary& last = _summary.categories.back();
  if (static_cast<double>(last.recognised) >= kLeastRecall * static_cast<double>(calibrating)) return true;
  _why = "the map does not calibrate: with " + std::to_string(100 * _options.falsePositiveRate) +
         "% of category 1 restricted, only " + std::to_string(last.recognised) + " of " +
         std::to_string(calibrating) + " pages of category " + std::to_string(_contents.categoryCount) +
         " are told from them";
  return false;
}

// The margins of the chosen ones of the pages that are held back.
template <class Choose>
std::vector<double> Training::marginsOf(const LsmMap& map, Choose choose) const {
  std::vector<const CorpusPage*> pages;
  for (const CorpusPage& page : _corpus.pages()) {
    if (page.calibrates && choose(page)) pages.push_back(&page);
  }
  std::vector<double> margins(pages.size());
  parallelFor(_options.threads, pages.size(), 64, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) margins[i] = marginOf(map, pages[i]->scored.text());
  });
  return margins;
}

}  // namespace

std::optional<MapContents> trainMap(TrainingCorpus& corpus, const TrainingOptions& options,
                                    TrainingSummary& summary, std::string& why) {
  summary = {};
  return Training(corpus, options, summary, why).run();
}

}  // namespace sifterra::lsm
