#include "lsm/training/Trainer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "lsm/MapFile.h"
#include "lsm/training/AddedPages.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/FoldedBasis.h"
#include "lsm/training/LatentSpace.h"
#include "lsm/training/LinearHead.h"
#include "lsm/training/PageSpace.h"
#include "lsm/training/SharedPages.h"
#include "lsm/training/TermMatrix.h"
#include "lsm/training/Vocabulary.h"
#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

using Index = Eigen::Index;

// The parameters of window pooling; the windows are half overlapping.
constexpr std::uint32_t kWindowTokens = 512;
constexpr std::uint32_t kBestWindows = 3;
constexpr float kWindowPenalty = 4.0f;
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
  if (!_corpus.split(_options.calibrationShare, _why)) return false;
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
  PageSpace pages(_corpus, vocabulary, table, termRows(table, space), _options.threads);
  LinearHead head = pages.fittedHead(_options.headC);
  RowMatrix features = space.features;
  if (_options.rank < space.rank()) {
    report("folding directions");
    const RowMatrix basis =
        foldedBasis(pages.points(PageSpace::Part::kWhole), head, _options.rank, *_options.reduction);
    pages.project(basis);
    features *= basis;
    head = pages.fittedHead(_options.headC);
  }
  _contents.categoryCount = _corpus.categoryCount();
  _contents.rank = static_cast<std::uint32_t>(features.cols());
  _contents.bucketCount = _options.buckets;
  _contents.windowTokens = kWindowTokens;
  _contents.bestWindows = kBestWindows;
  _contents.windowPenalty = kWindowPenalty;
  fillWords(table, vocabulary, pages.rows());
  fillBuckets(table, features);
  fillHead(head);
  _summary.words = _contents.words.size();
  _summary.rank = _contents.rank;
  return true;
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
  const LsmMap map = openMap();
  if (map == nullptr) return false;
  const std::vector<double> margins =
      marginsOf(map, [](const CorpusPage& page) { return page.category == 0; });
  if (margins.size() < kFewestMargins) {
    _why = "the map does not calibrate: only " + std::to_string(margins.size()) +
           " pages of category 1 are on the sites that are held back for it, and " +
           std::to_string(kFewestMargins) + " are the least";
    return false;
  }
  const MarginTail tail = fitTail(margins);
  // What every map must get right limits the shift, however well the categories are told apart.
  double most = kMostAnchorMargin - marginOf(map, u"");
  for (std::uint32_t c = 1; c < std::min(_contents.categoryCount, kSignedCategories + 1); ++c) {
    most = std::min(most, kMostAnchorMargin - marginOf(map, signatureText(c)));
  }
  const double shift =
      std::min(logOdds(kOperatingScore) - tail.marginExceededBy(_options.falsePositiveRate), most);
  _summary.falsePositives = tail.shareAbove(logOdds(kOperatingScore) - shift);
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
  const CategorySummary& last = _summary.categories.back();
  if (static_cast<double>(last.recognised) >= kLeastRecall * static_cast<double>(last.calibrating))
    return true;
  _why = "the map does not calibrate: with " + std::to_string(100 * _options.falsePositiveRate) +
         "% of category 1 restricted, only " + std::to_string(last.recognised) + " of " +
         std::to_string(last.calibrating) + " pages of category " + std::to_string(_contents.categoryCount) +
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
