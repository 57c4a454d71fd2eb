#include "lsm/training/remember_pages.h"

#include <algorithm>
#include <cstdint>
#include <tuple>

#include "lsm/training/Calibration.h"
#include "lsm/training/PageViews.h"
#include "lsm/training/RememberedPages.h"
#include "lsm/training/parallel_for.h"
#include "lsm/training/quantised_rows.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {
namespace {

// Of the pages that shall not be restricted so many, those with the greatest log-odds, are all kept; of the
// rest at most so many.
constexpr double kNearShare = 0.15;
constexpr std::size_t kFewestNear = 80;
constexpr std::size_t kMostOfTheRest = 600;
// A view that is so far behind the page's greatest one will not decide after a change that is any good.
constexpr double kFarBehind = 6;

struct Held {
  std::size_t page;  // in the corpus
  double margin;
};

struct Chosen {
  std::size_t page;
  double weight;
};

// `most` of them, spread evenly over their log-odds.
void chooseEvenly(const std::vector<Held>& pages, std::size_t from, std::size_t most,
                  std::vector<Chosen>& chosen) {
  const std::size_t rest = pages.size() - from;
  const std::size_t taken = std::min(rest, most);
  for (std::size_t i = 0; i < taken; ++i) {
    const std::size_t at = from + (2 * i + 1) * rest / (2 * taken);
    chosen.push_back({pages[at].page, static_cast<double>(rest) / static_cast<double>(taken)});
  }
}

// The pages that are held back, greatest log-odds first.
struct HeldPages {
  std::vector<Held> ofLast;
  std::vector<Held> others;
};

HeldPages heldPages(const LsmMap& map, const TrainingCorpus& corpus, std::size_t threads) {
  std::vector<Held> held;
  for (std::size_t p = 0; p < corpus.pages().size(); ++p) {
    if (corpus.pages()[p].calibrates) held.push_back({p, 0});
  }
  parallelFor(threads, held.size(), 64, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
      held[i].margin = marginOf(map, corpus.pages()[held[i].page].scored.text());
  });
  std::stable_sort(held.begin(), held.end(),
                   [](const Held& a, const Held& b) { return a.margin > b.margin; });
  HeldPages pages;
  for (const Held& page : held) {
    const bool last = corpus.pages()[page.page].category + 1 == map->categoryCount();
    (last ? pages.ofLast : pages.others).push_back(page);
  }
  return pages;
}

std::vector<Chosen> chosenPages(const LsmMap& map, const TrainingCorpus& corpus,
                                const TeachingPages& teaching, std::size_t threads) {
  const HeldPages held = heldPages(map, corpus, threads);
  std::vector<Chosen> chosen;
  const auto nearby = static_cast<std::size_t>(kNearShare * static_cast<double>(held.others.size()));
  const std::size_t near = std::min(held.others.size(), std::max(kFewestNear, nearby));
  for (std::size_t i = 0; i < near; ++i) chosen.push_back({held.others[i].page, 1});
  chooseEvenly(held.others, near, kMostOfTheRest, chosen);
  const std::size_t firstOfLast = chosen.size();
  chooseEvenly(held.ofLast, 0, kRememberedOfLast, chosen);
  for (const std::size_t page :
       teachersOfLast(corpus, kRememberedOfLast - std::min(held.ofLast.size(), kRememberedOfLast))) {
    chosen.push_back({page, 1});
  }
  // The categories stand to each other as in what was learnt, whatever was held back of them.
  const double others = std::max(teaching.all - teaching.ofLast, 1.0);
  const double all = static_cast<double>(held.others.size()) * teaching.ofLast / others;
  double weights = 0;
  for (std::size_t i = firstOfLast; i < chosen.size(); ++i) weights += chosen[i].weight;
  for (std::size_t i = firstOfLast; i < chosen.size(); ++i) chosen[i].weight *= all / weights;
  return chosen;
}

MapMemory rememberPages(const LsmMap& map, const TrainingCorpus& corpus, const TeachingPages& teaching,
                        std::size_t threads) {
  MapMemory memory;
  memory.teachingPages = static_cast<std::uint32_t>(teaching.all);
  const std::vector<Chosen> chosen = chosenPages(map, corpus, teaching, threads);
  const LastCategory categories(*map);
  std::vector<std::vector<PageView>> views(chosen.size());
  parallelFor(threads, chosen.size(), 16, [&](std::size_t, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
      views[i] = viewsOf(map, categories, corpus.pages()[chosen[i].page].scored.text());
  });
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    memory.weights.push_back(static_cast<float>(chosen[i].weight));
    memory.categories.push_back(static_cast<std::uint8_t>(corpus.pages()[chosen[i].page].category));
    double best = -1e30;
    for (const PageView& view : views[i]) best = std::max(best, marginOf(categories, view));
    for (const PageView& view : views[i]) {
      if (marginOf(categories, view) < best - kFarBehind) continue;
      memory.pages.push_back(static_cast<std::uint32_t>(i));
      memory.offsets.push_back(static_cast<float>(view.offset));
      for (Eigen::Index k = 0; k < view.point.size(); ++k)
        memory.points.push_back(static_cast<float>(view.point[k]));
    }
  }
  return memory;
}

}  // namespace

double thresholdOf(const LsmProperties& properties) {
  const auto found = properties.find(kLsmExplicitThreshold);
  const float* value = found == properties.end() ? nullptr : std::get_if<float>(&found->second);
  // Below one half the last category would not be the best one.
  return logOdds(value == nullptr ? kOperatingScore : std::max(static_cast<double>(*value), 0.5));
}

std::vector<std::size_t> teachersOfLast(const TrainingCorpus& corpus, std::size_t most) {
  std::vector<std::tuple<bool, std::uint64_t, std::size_t>> pages;
  for (std::size_t p = 0; p < corpus.pages().size(); ++p) {
    const CorpusPage& page = corpus.pages()[p];
    if (page.calibrates || page.category + 1 != corpus.categoryCount()) continue;
    const std::u16string text = page.scored.text();
    pages.emplace_back(page.composed, XXH3_64bits(text.data(), 2 * text.size()), p);
  }
  std::sort(pages.begin(), pages.end());
  if (pages.size() > most) pages.resize(most);
  std::vector<std::size_t> places;
  places.reserve(pages.size());
  for (const auto& [composed, hash, place] : pages) places.push_back(place);
  return places;
}

TeachingPages rememberWords(const TrainingCorpus& corpus, const Reduction& reduction, MapContents& contents) {
  std::vector<double> pages(corpus.words().size(), 0);
  std::vector<double> ofLast(corpus.words().size(), 0);
  TeachingPages teaching;
  for (const CorpusPage& page : corpus.pages()) {
    if (page.calibrates) continue;
    const bool last = page.category + 1 == contents.categoryCount;
    ++teaching.all;
    if (last) ++teaching.ofLast;
    for (const WordCount& word : page.words) {
      ++pages[word.word];
      if (last) ++ofLast[word.word];
    }
  }
  std::vector<double> sums(2 * contents.words.size(), 0);
  for (std::size_t w = 0; w < contents.words.size(); ++w) {
    const std::uint32_t number = corpus.find(contents.words[w].text);
    if (number == TrainingCorpus::kNoWord) continue;
    sums[2 * w] = pages[number];
    sums[2 * w + 1] = ofLast[number];
  }
  reduction.sum(sums.data(), sums.size());
  for (std::size_t w = 0; w < contents.words.size(); ++w) {
    if (sums[2 * w] > 0) contents.words[w].lastShare = static_cast<float>(sums[2 * w + 1] / sums[2 * w]);
  }
  return {reduction.sum(teaching.all), reduction.sum(teaching.ofLast)};
}

bool remember(const TrainingCorpus& corpus, const TeachingPages& teaching, std::size_t threads,
              MapContents& contents, std::string& why) {
  const LsmMap map = mapOf(contents, why);
  if (map == nullptr) return false;
  contents.memory = rememberPages(map, corpus, teaching, threads);
  roundAsWritten(contents.memory.points, contents.memory.pages.size(), contents.rank);
  const RememberedPages remembered(contents.memory, contents.rank, contents.categoryCount);
  const MapFigures figures =
      remembered.figures(remembered.margins(LastCategory(*map)), thresholdOf(contents.properties));
  contents.properties[kTrainedRecall] = static_cast<float>(figures.recall);
  contents.properties[kTrainedFalsePositives] = static_cast<float>(figures.falsePositives);
  return true;
}

}  // namespace sifterra::lsm
