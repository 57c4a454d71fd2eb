// LanguageMatcher.h: which of the localizations there are suits a user best.
//
// ICU's matcher stands behind it, with its notion of which languages their readers share ("no" and "nb",
// "zh-HK" and "zh-Hant"); no ICU type shows here.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "sifterra/platform/String.h"

namespace sifterra::platform {

// The best of the available localizations for the languages, most wanted first; nothing when none suits.
// Languages are language tags ("pt-BR") or locale names ("pt_BR"); what is neither is passed over. The
// localization "English" stands for "en".
[[nodiscard]] std::optional<std::string> preferredLocalization(std::span<const std::string> available,
                                                               std::span<const String> languages);

}  // namespace sifterra::platform
