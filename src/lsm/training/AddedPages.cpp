#include "lsm/training/AddedPages.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <utility>

#include "lsm/training/AddedWords.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/Correction.h"
#include "lsm/training/PageViews.h"
#include "lsm/training/RememberedPages.h"
#include "lsm/training/parallel_for.h"
#include "lsm/training/remember_pages.h"

namespace sifterra::lsm {
namespace {

// So often pages that come out wrong are made to count more, so many times as much each time.
constexpr int kRounds = 12;
constexpr double kWeightFactor = 3;
// So often the worst of them are given up, when they cannot be had without loss.
constexpr int kMostRetreats = 4;
// What every map must get right counts at least as this share of the pages that taught it, each.
constexpr double kEndShare = 0.01;

std::optional<float> numberOf(const LsmProperties& properties, const char* key) {
  const auto found = properties.find(key);
  const float* value = found == properties.end() ? nullptr : std::get_if<float>(&found->second);
  return value == nullptr ? std::nullopt : std::optional<float>(*value);
}

struct SeenPage {
  std::vector<PageView> views;
  std::size_t deciding = 0;
  double margin = 0;
};

// A map with the added pages, and how well it does.
struct Candidate {
  MapContents contents;
  MapFigures figures;
  double wordShift = 0;
  std::vector<std::size_t> wrong;
};

class Addition {
 public:
  Addition(LsmMap base, const TrainingCorpus& corpus, const AddedPagesOptions& options,
           AddedPagesSummary& summary, std::string& why)
      : _base(std::move(base)), _corpus(corpus), _options(options), _summary(summary), _why(why) {}

  std::optional<MapContents> run();

 private:
  void report(const char* stage) const {
    if (_options.progress) _options.progress(stage);
  }
  [[nodiscard]] bool fits();
  [[nodiscard]] bool isLast(std::size_t page) const {
    return _corpus.pages()[page].category + 1 == _base->categoryCount();
  }
  [[nodiscard]] std::vector<SeenPage> seenBy(const LsmMap& map) const;
  [[nodiscard]] std::vector<SeenPage> endsOf(const LsmMap& map) const;
  [[nodiscard]] std::vector<std::size_t> wrongOf(const std::vector<SeenPage>& pages) const;
  [[nodiscard]] bool keepsItsEnds(const LsmMap& map);
  [[nodiscard]] Candidate best(const MapContents& start, const LsmMap& map,
                               const RememberedPages& remembered);
  void label(MapContents& contents) const;

  LsmMap _base;
  const TrainingCorpus& _corpus;
  const AddedPagesOptions& _options;
  AddedPagesSummary& _summary;
  std::string& _why;
  double _threshold = 0;
  Eigen::VectorXd _direction;  // of the base: from the other categories to the last one
};

bool Addition::fits() {
  if (_corpus.pages().empty()) {
    _why = "there is no usable page";
  } else if (_base->categoryCount() < 2) {
    _why = "the map has one category only";
  } else if (_corpus.categoryCount() > _base->categoryCount()) {
    _why = "a page is of category " + std::to_string(_corpus.categoryCount()) + ", but the map has " +
           std::to_string(_base->categoryCount());
  } else {
    return true;
  }
  return false;
}

std::vector<SeenPage> Addition::seenBy(const LsmMap& map) const {
  const LastCategory last(*map);
  std::vector<SeenPage> pages(_corpus.pages().size());
  parallelFor(_options.threads, pages.size(), 16, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      SeenPage& page = pages[i];
      page.views = viewsOf(map, last, _corpus.pages()[i].scored.text(), &_direction);
      page.margin = marginOf(last, page.views[0]);
      for (std::size_t v = 1; v < page.views.size(); ++v) {
        const double margin = marginOf(last, page.views[v]);
        if (margin <= page.margin) continue;
        page.margin = margin;
        page.deciding = v;
      }
    }
  });
  return pages;
}

// The signature words, by category, and behind them a text without words.
std::vector<SeenPage> Addition::endsOf(const LsmMap& map) const {
  const LastCategory last(*map);
  std::vector<SeenPage> ends;
  const auto add = [&](const std::u16string& text) {
    ends.push_back({viewsOf(map, last, text), 0, 0});
    ends.back().margin = marginOf(last, ends.back().views[0]);
  };
  for (std::uint32_t c = 1; c <= std::min(map->categoryCount(), kSignedCategories); ++c) {
    const std::string word = signatureToken(c);
    add({word.begin(), word.end()});
  }
  add(u"");
  return ends;
}

std::vector<std::size_t> Addition::wrongOf(const std::vector<SeenPage>& pages) const {
  std::vector<std::size_t> wrong;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if ((pages[i].margin > _threshold) != isLast(i)) wrong.push_back(i);
  }
  return wrong;
}

// What every map must get right.
bool Addition::keepsItsEnds(const LsmMap& map) {
  bool keeps = bestCategory(map, u"") == 1;
  for (std::uint32_t c = 1; c <= std::min(map->categoryCount(), kSignedCategories); ++c) {
    const std::string word = signatureToken(c);
    keeps = keeps && bestCategory(map, std::u16string(word.begin(), word.end())) == c;
  }
  if (!keeps) _why = "with these pages the map no longer tells its categories' signature words apart";
  return keeps;
}

// Of the maps that pages which weigh more and more lead to the one that gets most of them right, and keeps
// what it knew; the first one when none keeps it.
Candidate Addition::best(const MapContents& start, const LsmMap& map, const RememberedPages& remembered) {
  std::optional<Correction> correction;
  double unit = 1;  // what a page counts at first
  std::vector<double> weights(_corpus.pages().size(), unit);
  std::vector<SeenPage> seen;
  std::optional<Candidate> best;
  Candidate first;
  LsmMap changed;
  std::vector<bool> givenUp(weights.size(), false);
  int retreats = 0;
  for (int round = 0; round < kRounds; ++round) {
    if (!correction) {  // at first, and again after a change that went too far
      correction.emplace(map, start, remembered);
      changed = map;
      seen = seenBy(map);
    }
    std::vector<CorrectedPage> pages;
    for (std::size_t i = 0; i < seen.size(); ++i)
      pages.push_back({&seen[i].views[seen[i].deciding], seen[i].margin, isLast(i), weights[i]});
    const std::vector<SeenPage> ends = endsOf(changed);
    const double most = *std::max_element(weights.begin(), weights.end());
    for (std::size_t c = 0; c < ends.size(); ++c) {
      pages.push_back({&ends[c].views[0], ends[c].margin, c + 1 == map->categoryCount(),
                       std::max(most, kEndShare * start.memory.teachingPages)});
    }
    correction->fit(pages, _threshold);
    Candidate next;
    next.contents = correction->applied();
    next.wordShift = correction->deviation();
    const LastCategory last(next.contents);
    std::vector<double> margins = remembered.margins(last);
    // Words move the remembered pages as well; that they differ in it makes their tail wider.
    for (std::size_t page = 0; page < margins.size(); ++page) {
      margins[page] += correction->meanShift(remembered.isLast(page));
      if (!remembered.isLast(page)) margins[page] += next.wordShift * next.wordShift / 2;
    }
    const double excess = remembered.excess(margins, _threshold, _summary.before.falsePositives);
    next.contents.bias.back() -= static_cast<float>(excess);
    for (double& margin : margins) margin -= excess;
    next.figures = remembered.figures(margins, _threshold);
    changed = mapOf(next.contents, _why);
    if (changed == nullptr) break;
    seen = seenBy(changed);
    next.wrong = wrongOf(seen);
    const bool keeps = keepsItsEnds(changed) && _summary.before.recall - next.figures.recall <= kToldFall &&
                       next.wordShift <= kMostWordShift;
    if (next.wrong.empty() && keeps) return next;
    std::vector<std::size_t> tried = next.wrong;
    if (!keeps && !best) {
      unit /= kWeightFactor;
      weights.assign(weights.size(), unit);
      correction.reset();
      first = std::move(next);
      continue;
    }
    if (!keeps) {
      if (++retreats > kMostRetreats) break;
      correction.reset();
      // The half that is farthest from its side weighs as at first from now on.
      std::sort(tried.begin(), tried.end(), [&seen, this](std::size_t a, std::size_t b) {
        return std::abs(seen[a].margin - _threshold) < std::abs(seen[b].margin - _threshold);
      });
      for (std::size_t i = tried.size() / 2; i < tried.size(); ++i) {
        weights[tried[i]] = unit;
        givenUp[tried[i]] = true;
      }
    } else {
      for (const std::size_t page : tried) weights[page] *= givenUp[page] ? 1 : kWeightFactor;
    }
    if (!best || (keeps && next.wrong.size() < best->wrong.size())) best = std::move(next);
  }
  return best ? std::move(*best) : std::move(first);
}

void Addition::label(MapContents& contents) const {
  char checksum[32];
  std::snprintf(checksum, sizeof checksum, "xxh3:%016" PRIx64, _base->payloadHash());
  LsmProperties& properties = contents.properties;
  const float earlier = numberOf(properties, kAddedPagesCount).value_or(0.0f);
  properties[kAddedPagesCount] = earlier + static_cast<float>(_corpus.pages().size());
  properties[kAddedPagesRecall] = static_cast<float>(_summary.after.recall);
  properties[kAddedPagesFalsePositives] = static_cast<float>(_summary.after.falsePositives);
  properties[kBaseName] = _options.baseName;
  properties[kBaseChecksum] = std::string(checksum);
}

std::optional<MapContents> Addition::run() {
  if (!fits()) return std::nullopt;
  std::string noMemory;
  MapContents contents = contentsOf(*_base, &noMemory);
  if (contents.memory.empty()) {
    _why = noMemory;
    return std::nullopt;
  }
  report("reading the pages");
  _threshold = thresholdOf(contents.properties);
  const RememberedPages remembered(contents.memory, contents.rank, contents.categoryCount);
  _summary.before = remembered.figures(remembered.margins(LastCategory(*_base)), _threshold);
  _summary.trained.recall = static_cast<double>(
      numberOf(contents.properties, kTrainedRecall).value_or(static_cast<float>(_summary.before.recall)));
  _summary.trained.falsePositives =
      static_cast<double>(numberOf(contents.properties, kTrainedFalsePositives)
                              .value_or(static_cast<float>(_summary.before.falsePositives)));
  _direction = LastCategory(*_base).direction();
  const std::vector<SeenPage> seen = seenBy(_base);
  const std::vector<std::size_t> wrong = wrongOf(seen);
  _summary.wrongBefore = wrong.size();
  std::vector<bool> isWrong(seen.size(), false);
  for (const std::size_t page : wrong) isWrong[page] = true;
  std::vector<PageView> wholes;
  wholes.reserve(seen.size());
  for (const SeenPage& page : seen) wholes.push_back(page.views[0]);
  report("folding words in");
  _summary.newWords = foldInWords(_base, _corpus, wholes, isWrong, _options.mostNewWords, contents);
  const LsmMap start = mapOf(contents, _why);
  if (start == nullptr) return std::nullopt;
  contents = contentsOf(*start);  // words are numbered as the file has them
  report("correcting");
  Candidate candidate = best(contents, start, remembered);
  _summary.after = candidate.figures;
  _summary.stillWrong = candidate.wrong;
  _summary.wordShift = candidate.wordShift;
  const LsmMap result = mapOf(candidate.contents, _why);
  if (result == nullptr) return std::nullopt;
  if (!keepsItsEnds(result)) return std::nullopt;
  const double fall = _summary.trained.recall - _summary.after.recall;
  if (fall > kRefusedFall && !_options.force) {
    char text[160];
    std::snprintf(text, sizeof text,
                  "with these pages the map would find %.1f%% of category %u that it remembers, after %.1f%%",
                  100 * _summary.after.recall, static_cast<unsigned>(_base->categoryCount()),
                  100 * _summary.trained.recall);
    _why = text;
    return std::nullopt;
  }
  label(candidate.contents);
  return std::move(candidate.contents);
}

}  // namespace

LsmMap openBase(const std::string& path, std::string& why) {
  return lsmMapLoad(path, 0, &why);
}

std::optional<MapContents> addPages(const LsmMap& base, const TrainingCorpus& corpus,
                                    const AddedPagesOptions& options, AddedPagesSummary& summary,
                                    std::string& why) {
  summary = {};
  return Addition(base, corpus, options, summary, why).run();
}

}  // namespace sifterra::lsm
