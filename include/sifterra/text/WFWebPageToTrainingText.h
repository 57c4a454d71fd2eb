// WFWebPageToTrainingText: a page as text that teaches a map one category.
//
// The same sections and weights as the filter text, headed by a document signature and the signature
// word of the category. WFWebPageToTrainingText_Category1 (sifterra.h) holds the one of category 1.
#pragma once

#include <cstdint>
#include <string>

#include "sifterra/sifterra.h"
#include "sifterra/text/WFWebPageDecoratorKind.h"

namespace sifterra {

class WF_API WFWebPageToTrainingText : public WFWebPageDecoratorKind<WFWebPageToTrainingText> {
 public:
  using WFWebPageDecoratorKind::WFWebPageDecoratorKind;
  static constexpr const char* kClassName = "WFWebPageToTrainingText";

  [[nodiscard]] static platform::String documentSignature();
  // The signature word of categories 1 to 9, null for any other number. Category 1 is whatever
  // WFWebPageToTrainingText_Category1 holds at the time of the call.
  [[nodiscard]] static platform::String signatureForCategory(std::int64_t category);

  // The signature of the category that this page teaches, null at first.
  [[nodiscard]] platform::String categorySignature() const { return _categorySignature; }
  void setCategorySignature(const platform::String& signature) { _categorySignature = signature; }

  [[nodiscard]] std::u16string rawPlainText() const override;

 private:
  platform::String _categorySignature;
};

}  // namespace sifterra
