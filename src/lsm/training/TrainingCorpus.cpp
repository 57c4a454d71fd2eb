#include "lsm/training/TrainingCorpus.h"

#include <algorithm>
#include <numeric>
#include <utility>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {
namespace {

// A site with no more of a category's pages than this share is small.
constexpr double kSmallSite = 0.0025;

}  // namespace

bool TrainingCorpus::add(TrainingPage page) {
  if (page.words.empty() || page.category == 0) return false;
  const std::uint32_t site = numberOfSite(page.site);
  CorpusPage kept{{}, std::move(page.scored), page.category - 1, site, page.composed};
  kept.words.reserve(page.words.size());
  for (PageWord& word : page.words) {
    const auto [number, isNew] = _numbers.try_emplace(word.text, static_cast<std::uint32_t>(_words.size()));
    if (isNew) _words.push_back({std::move(word.text), word.kind, word.script, word.characters});
    kept.words.push_back({number->second, word.count});
  }
  _pages.push_back(std::move(kept));
  _categories = std::max(_categories, page.category);
  return true;
}

std::uint32_t TrainingCorpus::numberOfSite(const std::string& name) {
  const auto [site, isNew] = _siteNumbers.try_emplace(name, static_cast<std::uint32_t>(_sites.size()));
  if (isNew) _sites.push_back(name);
  return site->second;
}

void TrainingCorpus::addElsewhere(std::string_view site, std::uint32_t category, std::uint32_t pages,
                                  bool composed) {
  _elsewhere.push_back({numberOfSite(std::string(site)), category, pages, composed});
  _categories = std::max(_categories, category + 1);
}

std::uint32_t TrainingCorpus::know(const CorpusWord& word) {
  const auto [number, isNew] = _numbers.try_emplace(word.text, static_cast<std::uint32_t>(_words.size()));
  if (isNew) _words.push_back(word);
  return number->second;
}

void TrainingCorpus::dropHeldBack() {
  _pages.erase(
      std::remove_if(_pages.begin(), _pages.end(), [](const CorpusPage& page) { return page.calibrates; }),
      _pages.end());
}

void TrainingCorpus::addForeign(FoldedText scored, std::uint32_t category, const std::string& site,
                                bool calibrates, bool composed) {
  _pages.push_back({{}, std::move(scored), category, numberOfSite(site), composed, calibrates});
}

// Sites come up in the order of a hash of their names. One is held back when a category of its pages still
// lacks some and none of them loses what it needs: at least one page, and no more than twice the share.
bool TrainingCorpus::split(double calibrationShare, double lastShare, std::string& why) {
  std::vector<std::vector<double>> pagesOf(_sites.size(), std::vector<double>(_categories, 0.0));
  std::vector<double> total(_categories, 0.0);
  std::vector<std::size_t> sitesOf(_categories, 0);
  std::vector<bool> onlyComposed(_categories, true);
  for (const CorpusPage& page : _pages) {
    if (!page.composed) onlyComposed[page.category] = false;
  }
  for (const Elsewhere& other : _elsewhere) {
    if (!other.composed) onlyComposed[other.category] = false;
  }
  const auto mayCalibrate = [&](const auto& page) { return !page.composed || onlyComposed[page.category]; };
  for (const CorpusPage& page : _pages) {
    if (!mayCalibrate(page)) continue;
    if (pagesOf[page.site][page.category]++ == 0) ++sitesOf[page.category];
    ++total[page.category];
  }
  for (const Elsewhere& other : _elsewhere) {
    if (!mayCalibrate(other)) continue;
    double& here = pagesOf[other.site][other.category];
    if (here == 0) ++sitesOf[other.category];
    here += other.pages;
    total[other.category] += other.pages;
  }
  for (std::uint32_t c = 0; c < _categories; ++c) {
    if (sitesOf[c] >= 2) continue;
    why = "the pages of category " + std::to_string(c + 1) +
          " are of one site; it takes two or more, because the map is calibrated on other sites than it "
          "learns from";
    return false;
  }
  std::vector<std::pair<std::uint64_t, std::uint32_t>> order;
  for (std::uint32_t s = 0; s < _sites.size(); ++s) {
    order.emplace_back(XXH3_64bits(_sites[s].data(), _sites[s].size()), s);
  }
  std::sort(order.begin(), order.end(), [this](const auto& a, const auto& b) {
    return a.first != b.first ? a.first < b.first : _sites[a.second] < _sites[b.second];
  });
  std::vector<double> held(_categories, 0.0);
  std::vector<double> share(_categories, calibrationShare);
  share.back() = lastShare;
  std::vector<bool> calibrates(_sites.size(), false);
  // Large sites only where small ones do not suffice: the only source of a language would be missed in
  // learning, and the others would then be calibrated on a language that the map does not know.
  for (const bool anySize : {false, true}) {
    for (const auto& [hash, site] : order) {
      bool wanted = false;
      bool possible = !calibrates[site];
      for (std::uint32_t c = 0; c < _categories; ++c) {
        const double here = pagesOf[site][c];
        if (here == 0) continue;
        wanted = wanted || held[c] < share[c] * total[c];
        possible = possible && (anySize || here <= std::max(kSmallSite * total[c], 1.0));
        const double most = std::min(std::max(2 * share[c] * total[c], 1.0), total[c] - 1);
        // The first site of a category may be a large one.
        possible = possible && (held[c] + here <= most || (held[c] == 0 && here <= total[c] / 2));
      }
      if (!wanted || !possible) continue;
      calibrates[site] = true;
      for (std::uint32_t c = 0; c < _categories; ++c) held[c] += pagesOf[site][c];
    }
  }
  for (CorpusPage& page : _pages) page.calibrates = calibrates[page.site] && mayCalibrate(page);
  for (std::uint32_t c = 0; c < _categories; ++c) {
    if (held[c] != 0) continue;
    why = "the pages of category " + std::to_string(c + 1) +
          " cannot be split by site: no site has few enough of them to be held back for calibration";
    return false;
  }
  return true;
}

std::uint32_t TrainingCorpus::find(std::string_view word) const {
  const auto found = _numbers.find(word);
  return found == _numbers.end() ? kNoWord : found->second;
}

}  // namespace sifterra::lsm
