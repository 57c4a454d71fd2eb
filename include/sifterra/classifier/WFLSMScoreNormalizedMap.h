// WFLSMScoreNormalizedMap: a category map whose scores are comparable between categories.
//
// When it is made, the signature word of each category is evaluated alone. That gives each category a
// floor and a ceiling; each evaluation is then rescaled between them, and the scores sum to 1.
#pragma once

#include <memory>
#include <vector>

#include "sifterra/classifier/WFLSMMap.h"

namespace sifterra {

class WF_API WFLSMScoreNormalizedMap : public WFLSMMap {
 public:
  ~WFLSMScoreNormalizedMap() override;

  [[nodiscard]] static std::shared_ptr<WFLSMScoreNormalizedMap> mapWithMap(
      std::shared_ptr<const lsm::Map> map);
  [[nodiscard]] static std::shared_ptr<WFLSMScoreNormalizedMap> mapFromURL(const platform::URL& url);
  [[nodiscard]] static std::shared_ptr<WFLSMScoreNormalizedMap> mapFromFilePath(const platform::String& path);

  [[nodiscard]] std::shared_ptr<WFLSMResult> evaluate(const platform::String& text) const override;

  // The raw scores between which category 1 to numberOfCategories() is rescaled; -1 where the
  // calibration left nothing.
  [[nodiscard]] float floorForCategory(std::int64_t category) const;
  [[nodiscard]] float ceilingForCategory(std::int64_t category) const;

 protected:
  WFLSMScoreNormalizedMap() = default;
  bool initWithMap(std::shared_ptr<const lsm::Map> map) override;

 private:
  friend class WFLSMMap;
  void calibrate();
  void recordSignature(const WFLSMResult& scores, std::int64_t category);

  std::vector<float> maxScore;  // ceilings; entry 0 is never used
  std::vector<float> minScore;  // floors; entry 0 is never used
};

}  // namespace sifterra
