// WFWebPageToFilterText: a page as the word text that a category map classifies.
//
// Marker words open the sections, and repeating a section is its weight. Also tells whether the page
// labels itself adult-only, and whether there is enough of it to classify. The judge asks selfRestricted
// first, then isWorthAnalyzingWithEvidence, then plainText.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "sifterra/text/WFWebPageDecoratorKind.h"

namespace sifterra {

// Final: plainText builds on the layout directly, not on rawPlainText.
class WF_API WFWebPageToFilterText final : public WFWebPageDecoratorKind<WFWebPageToFilterText> {
 public:
  using WFWebPageDecoratorKind::WFWebPageDecoratorKind;
  static constexpr const char* kClassName = "WFWebPageToFilterText";

  // Evidence that isWorthAnalyzingWithEvidence gives.
  static constexpr std::int32_t kTooLittleContent = 5;
  static constexpr std::int32_t kFrameset = 6;
  static constexpr std::int32_t kShortRefresh = 7;

  [[nodiscard]] std::u16string rawPlainText() const override;
  [[nodiscard]] platform::String plainText() const override;

  // False for a page with next to nothing to classify. `evidence` is written only then; `message` always:
  // the reason, a note about a page that is analysed all the same, or null.
  [[nodiscard]] bool isWorthAnalyzingWithEvidence(std::int32_t& evidence, platform::String& message) const;

  // Whether the page's own rating labels (RTA, SafeSurf) declare it adult-only.
  [[nodiscard]] bool selfRestricted() const;

  // The character n-grams of at most 20 characters of URLString after its first seven; empty when it has
  // fewer than n + 7. An n below 0 that passes this test throws std::out_of_range.
  [[nodiscard]] platform::String URLFuzzyWithWordLength(std::int32_t wordLength) const;
  // The n-grams for 3, 4, 5 and 6, each on a line.
  [[nodiscard]] platform::String URLFuzzyForFilter() const;

 private:
  static std::span<const Section> layout();
};

}  // namespace sifterra
