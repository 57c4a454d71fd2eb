// explanation.h: the engine's explanation as the library shows it.
#pragma once

#include <memory>

#include "sifterra/classifier/WFExplanation.h"

namespace sifterra {

namespace lsm {
struct Explanation;
}

[[nodiscard]] std::shared_ptr<const WFExplanation> explanationOf(const lsm::Explanation& explanation);

}  // namespace sifterra
