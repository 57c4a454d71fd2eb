// fixed_point.h: scores as text, the same wherever the host program has set its locale to.
#pragma once

#include <string>

namespace sifterra {

// What "%.*f" prints in the C locale, but "nan" for every not-a-number: the C library prints the sign of
// one, which depends on how the processor came to it.
[[nodiscard]] std::string fixedPoint(float value, int decimals);

}  // namespace sifterra
