// WFVerdict: what a judgement found: whether the page is to be withheld, and why.
#pragma once

#include <cstdint>
#include <memory>

#include "sifterra/classifier/WFLSMResult.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// Why a verdict came about. 1 and 4 are not used.
enum : std::int32_t {
  kWFEvidenceClassified = 0,         // the classifier decided
  kWFEvidenceNothingToClassify = 2,  // no content, or none that can be parsed
  kWFEvidenceSelfRestricted = 3,     // the page labels itself as adult
  kWFEvidenceTooLittleContent = 5,   // not analysed
  kWFEvidenceFrameset = 6,           // not analysed: a frameset with little content
  kWFEvidenceShortRefresh = 7,       // not analysed: it goes elsewhere soon, with little content
  kWFEvidenceListed = 8,             // found on a list of the user
  kWFEvidenceNotListed = 9,          // decided by the user's preferences, without a list
  kWFEvidenceAlwaysAllowHTTPS = 10,  // the user's preferences allow every https page
};

// Not locked: a verdict belongs to whoever asked for it.
class WF_API WFVerdict {
 public:
  WFVerdict() = default;
  [[nodiscard]] static std::shared_ptr<WFVerdict> verdictWithRestriction(
      bool restricted, const platform::String& URL, std::int32_t evidence,
      std::shared_ptr<WFLSMResult> LSMEvaluationResult, const platform::String& message);

  [[nodiscard]] bool restricted() const noexcept { return _restricted; }
  void setRestricted(bool restricted) noexcept { _restricted = restricted; }
  // The classifier's result; null when it did not run or failed.
  [[nodiscard]] const std::shared_ptr<WFLSMResult>& LSMEvaluationResult() const noexcept {
    return _LSMEvaluationResult;
  }
  void setLSMEvaluationResult(std::shared_ptr<WFLSMResult> result) noexcept;
  // The reason in words, may be null.
  [[nodiscard]] const platform::String& message() const noexcept { return _message; }
  void setMessage(const platform::String& message) noexcept { _message = message; }
  // The address that was judged, as it was passed in.
  [[nodiscard]] const platform::String& URL() const noexcept { return _URL; }
  void setURL(const platform::String& URL) noexcept { _URL = URL; }
  [[nodiscard]] std::int32_t evidence() const noexcept { return _evidence; }
  void setEvidence(std::int32_t evidence) noexcept { _evidence = evidence; }

  // "RESTRICTED (3) | Not evaluated | SELF-RESTRICTED | http://example.com/"; null prints "(null)".
  [[nodiscard]] platform::String description() const;

 private:
  bool _restricted = false;
  std::shared_ptr<WFLSMResult> _LSMEvaluationResult;
  platform::String _message;
  platform::String _URL;
  std::int32_t _evidence = 0;
};

}  // namespace sifterra
