#include "judge/evaluate_verdict.h"

namespace sifterra {

signed char WFEvaluateVerdict(const std::shared_ptr<WFVerdict>& verdict, platform::String* message) {
  if (!verdict) {
    if (message) *message = nullptr;
    return 0;
  }
  if (message) {
    const auto& result = verdict->LSMEvaluationResult();
    *message = result ? result->debugDescription() : verdict->message();
  }
  return verdict->restricted() ? 1 : 0;
}

}  // namespace sifterra
