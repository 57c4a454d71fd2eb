#include "lsm/training/OperatingPoint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "lsm/Evaluation.h"
#include "lsm/MapFile.h"
#include "lsm/TextWords.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/parallel_for.h"

namespace sifterra::lsm {
namespace {

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

class Calibrating {
 public:
  Calibrating(const TrainingCorpus& corpus, const TrainingOptions& options, MapContents& contents,
              TrainingSummary& summary, std::string& why)
      : _corpus(corpus), _options(options), _contents(contents), _summary(summary), _why(why) {}

  bool run() { return weighStretches() && calibrate() && verify(); }

 private:
  bool weighStretches();
  bool calibrate();
  bool verify();
  template <class Choose>
  [[nodiscard]] std::vector<double> marginsOf(const LsmMap& map, Choose choose) const;
  [[nodiscard]] LsmMap openMap() { return mapOf(_contents, _why); }

  const TrainingCorpus& _corpus;
  const TrainingOptions& _options;
  MapContents& _contents;
  TrainingSummary& _summary;
  std::string& _why;
};

// How much less than the whole each kind of stretch counts: so much that it adds no more than its share of
// false positives.
bool Calibrating::weighStretches() {
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

bool Calibrating::calibrate() {
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
bool Calibrating::verify() {
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
std::vector<double> Calibrating::marginsOf(const LsmMap& map, Choose choose) const {
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

bool setOperatingPoint(const TrainingCorpus& corpus, const TrainingOptions& options, MapContents& contents,
                       TrainingSummary& summary, std::string& why) {
  return Calibrating(corpus, options, contents, summary, why).run();
}

}  // namespace sifterra::lsm
