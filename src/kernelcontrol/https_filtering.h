// https_filtering.h: the one control function that the library itself calls.
#pragma once

namespace sifterra {

// ThornwickTurnOnHTTPSFiltering.
[[nodiscard]] int turnOnHTTPSFiltering() noexcept;

}  // namespace sifterra
