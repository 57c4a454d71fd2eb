// managed_preferences.h: where a user's managed preference file is.
#pragma once

#include <optional>
#include <string>

#include "sifterra/platform/String.h"

namespace sifterra {

// The path of the user's file below the root prefix. Nothing for a name that is no plain file name: null,
// empty, ".", "..", with a slash or a zero byte, or longer than 255 bytes.
[[nodiscard]] std::optional<std::string> managedPreferencePath(const platform::String& username);

}  // namespace sifterra
