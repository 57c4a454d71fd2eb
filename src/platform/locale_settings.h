// locale_settings.h: languages from the account service's records and the system's locale file.
#pragma once

#include <string_view>
#include <vector>

#include "sifterra/platform/String.h"

namespace sifterra::platform {

// The language tag of a locale name: "de-AT" of "de_AT.UTF-8@euro", "sr-Latn-RS" of "sr_RS@latin". Null for
// "C", "POSIX" and the empty name.
[[nodiscard]] String languageOfLocale(std::string_view locale);

// From a key file's section [User]: all of "Languages" (parted by semicolons), else "Language".
[[nodiscard]] std::vector<String> languagesOfAccount(std::string_view keyFile);

// From the assignments of a locale file: all of "LANGUAGE" (parted by colons), else the first of "LC_ALL",
// "LC_MESSAGES" and "LANG". As for programs, "LANGUAGE" counts only when the others name a language.
[[nodiscard]] std::vector<String> languagesOfSystem(std::string_view localeFile);

}  // namespace sifterra::platform
