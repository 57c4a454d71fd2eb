// WFVerdict: construction through the setters, and the one-line description for the log.
#include "sifterra/verdict/WFVerdict.h"

#include <string>
#include <utility>

namespace sifterra {
namespace {

std::string textOf(const platform::String& string) {
  return string ? string.toUTF8() : "(null)";
}

}  // namespace

std::shared_ptr<WFVerdict> WFVerdict::verdictWithRestriction(bool restricted, const platform::String& URL,
                                                             std::int32_t evidence,
                                                             std::shared_ptr<WFLSMResult> LSMEvaluationResult,
                                                             const platform::String& message) {
  auto verdict = std::make_shared<WFVerdict>();
  verdict->setRestricted(restricted);
  verdict->setURL(URL);
  verdict->setEvidence(evidence);
  verdict->setLSMEvaluationResult(std::move(LSMEvaluationResult));
  verdict->setMessage(message);
  return verdict;
}

void WFVerdict::setLSMEvaluationResult(std::shared_ptr<WFLSMResult> result) noexcept {
  _LSMEvaluationResult = std::move(result);
}

platform::String WFVerdict::description() const {
  const std::string result =
      _LSMEvaluationResult ? _LSMEvaluationResult->debugDescription().toUTF8() : "Not evaluated";
  return platform::String::fromUTF8((_restricted ? "RESTRICTED (" : "unrestricted (") +
                                    std::to_string(_evidence) + ") | " + result + " | " + textOf(_message) +
                                    " | " + textOf(_URL));
}

}  // namespace sifterra
