// word_dump.h: an engine's word dump, sorted for reading.
#pragma once

#include <string_view>

#include "sifterra/platform/String.h"

namespace sifterra {

// The lines in reverse order, the highest value first; null, with a log line, when they cannot be
// sorted, and null when the result is not UTF-8. Leaves no file behind.
[[nodiscard]] platform::String sortedWordDump(std::string_view dump);

}  // namespace sifterra
