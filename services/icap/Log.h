// Log: where the service's own lines go: c-icap's server log, or wherever a test looks.
#pragma once

#include <functional>
#include <string>

namespace sifterra::icap {

// One line, without its end. Called from any thread.
using Log = std::function<void(const std::string& line)>;

}  // namespace sifterra::icap
