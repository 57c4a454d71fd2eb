// WFLSMScoreNormalizedMap: calibration once, rescaling at each evaluation.
//
// All arithmetic is in 32-bit floats, in ascending order of the categories, and unguarded: a division by zero
// gives an infinity or not-a-number, which the restriction rule then never takes for a restriction.
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"

#include <cstddef>

#include "sifterra/text/WFWebPageToTrainingText.h"
#include "util/log.h"

namespace sifterra {
namespace {

constexpr float kUnset = -1.0F;

std::size_t indexOf(std::int64_t category) noexcept {
  return static_cast<std::size_t>(category);
}

}  // namespace

WFLSMScoreNormalizedMap::~WFLSMScoreNormalizedMap() = default;

std::shared_ptr<WFLSMScoreNormalizedMap> WFLSMScoreNormalizedMap::mapWithMap(
    std::shared_ptr<const lsm::Map> map) {
  return make<WFLSMScoreNormalizedMap>(std::move(map));
}

std::shared_ptr<WFLSMScoreNormalizedMap> WFLSMScoreNormalizedMap::mapFromURL(const platform::URL& url) {
  return mapWithMap(load(url));
}

std::shared_ptr<WFLSMScoreNormalizedMap> WFLSMScoreNormalizedMap::mapFromFilePath(
    const platform::String& path) {
  return mapFromURL(fileURLForPath(path));
}

bool WFLSMScoreNormalizedMap::initWithMap(std::shared_ptr<const lsm::Map> map) {
  if (!WFLSMMap::initWithMap(std::move(map))) return false;
  calibrate();
  return true;
}

void WFLSMScoreNormalizedMap::calibrate() {
  constexpr auto kOp = "-[WFLSMScoreNormalizedMap initWithMap:]";
  const std::int64_t count = numberOfCategories();
  maxScore.assign(indexOf(count) + 1, kUnset);
  minScore.assign(indexOf(count) + 1, kUnset);
  for (std::int64_t category = 1; category <= count; ++category) {
    const auto scores = WFLSMMap::evaluate(WFWebPageToTrainingText::signatureForCategory(category));
    const std::int64_t best = scores ? scores->bestMatchingCategory() : 0;
    if (best != category) {
      logError("%s -- Error creating the map: bestMatchingCategory (%ld) doesn't match category_i (%d)", kOp,
               best, category);
      continue;
    }
    recordSignature(*scores, category);
  }
}

void WFLSMScoreNormalizedMap::recordSignature(const WFLSMResult& scores, std::int64_t category) {
  maxScore[indexOf(category)] = scores.scoreForCategory(category);
  for (std::int64_t other = 1; other <= numberOfCategories(); ++other) {
    if (other == category) continue;
    float& floor = minScore[indexOf(other)];
    const float score = scores.scoreForCategory(other);
    // Kept: a stored floor that is not positive gives way to any later score, a larger one too. Maps are
    // trained and thresholds are chosen with the floors that come of this.
    if (!(floor > 0) || floor > score) floor = score;
  }
}

std::shared_ptr<WFLSMResult> WFLSMScoreNormalizedMap::evaluate(const platform::String& text) const {
  std::shared_ptr<WFLSMResult> result = WFLSMMap::evaluate(text);
  const std::int64_t count = numberOfCategories();
  if (count < 1 || !result) return result;
  float sum = 0;
  for (std::int64_t category = 1; category <= count; ++category) {
    const float floor = minScore[indexOf(category)];
    const float ceiling = maxScore[indexOf(category)];
    float value = (result->scoreForCategory(category) - floor) / (ceiling - floor);
    if (value < 0) value = 0;  // not a number stays
    sum = sum + value;
    result->setScore(value, category);
  }
  const float scale = 1 / sum;
  for (std::int64_t category = 1; category <= count; ++category)
    result->setScore(result->scoreForCategory(category) * scale, category);
  return result;
}

float WFLSMScoreNormalizedMap::floorForCategory(std::int64_t category) const {
  return minScore.at(indexOf(category));
}

float WFLSMScoreNormalizedMap::ceilingForCategory(std::int64_t category) const {
  return maxScore.at(indexOf(category));
}

}  // namespace sifterra
