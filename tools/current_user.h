// current_user: whose process this is.
#pragma once

#include <string>

namespace sifterra::tools {

// The short name of the user who runs the command; "" when the system does not know it.
[[nodiscard]] std::string currentUserName();

}  // namespace sifterra::tools
