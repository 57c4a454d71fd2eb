// preferred_language.h: the localization that a user's block page is shown in.
#pragma once

#include <vector>

#include "sifterra/platform/String.h"

namespace sifterra {

// The first localization of the library that suits the user's preferred languages; "English", after one log
// line, when there is none. Never null.
[[nodiscard]] platform::String preferredLanguageForUserName(const platform::String& userName);

// The localization of the library that suits these languages best, most wanted first; null when none does.
// Writes no log line.
[[nodiscard]] platform::String localizationForLanguages(const std::vector<platform::String>& languages);

// Whether the user's own preferences name languages, suitable or not.
[[nodiscard]] bool userNamesLanguages(const platform::String& userName);

}  // namespace sifterra
