// web_filter_activity.h: whether restrictions are in force, and what the first evaluator does about it.
#pragma once

#include "sifterra/platform/String.h"

namespace sifterra {

// _WebFilterIsActive: 1 when web restrictions are in force for the current user, or for the named one.
[[nodiscard]] int WebFilterIsActive();
[[nodiscard]] int WebFilterIsActive(const platform::String& user);

// Tells the filter of the machine, once per process, to filter secure connections. Two threads that come
// first may both tell it, which does no harm.
void activateWebFilter();
// For tests: as if none had been told.
void forgetWebFilterActivation() noexcept;

}  // namespace sifterra
