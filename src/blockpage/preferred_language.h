// preferred_language.h: the localization that a user's block page is shown in.
#pragma once

#include "sifterra/platform/String.h"

namespace sifterra {

// The first localization of the library that suits the user's preferred languages; "English", after one log
// line, when there is none. Never null.
[[nodiscard]] platform::String preferredLanguageForUserName(const platform::String& userName);

}  // namespace sifterra
