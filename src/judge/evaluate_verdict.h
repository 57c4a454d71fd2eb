// evaluate_verdict.h: a verdict as the C functions answer it.
#pragma once

#include <memory>

#include "sifterra/platform/String.h"
#include "sifterra/verdict/WFVerdict.h"

namespace sifterra {

// 1 when the verdict restricts, else 0. *message, when given, receives the score line of a classified
// page, else the verdict's message. No verdict (null) restricts nothing and has no message.
[[nodiscard]] signed char WFEvaluateVerdict(const std::shared_ptr<WFVerdict>& verdict,
                                            platform::String* message);

}  // namespace sifterra
