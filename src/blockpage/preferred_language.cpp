// preferred_language: from a user's languages to one of the library's localizations.
#include "blockpage/preferred_language.h"

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "platform/Bundle.h"
#include "platform/LanguageMatcher.h"
#include "platform/PreferenceStore.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::Bundle;
using platform::String;

// What log lines carry in place of the operation.
constexpr auto kOp = "PreferredLanguageForUserName";

// Null, after one log line, when there is no answer.
String languageFromPreferences(const String& userName) {
  if (!userName) {
    logError("%s -- userName is nil", kOp);
    return nullptr;
  }
  const std::vector<String> languages =
      platform::PreferenceStore::current().stringsForKey(platform::kPreferredLanguagesKey, userName);
  if (languages.empty()) {
    logError("%s -- No language preferences", kOp);
    return nullptr;
  }
  const std::optional<Bundle> bundle = Bundle::library();
  if (!bundle) {
    logError("%s -- No framework bundle", kOp);
    return nullptr;
  }
  const std::vector<std::string> available = bundle->localizations();
  if (available.empty()) {
    logError("%s -- No available localizations", kOp);
    return nullptr;
  }
  const std::optional<std::string> best = platform::preferredLocalization(available, languages);
  if (!best) {
    logError("%s -- No preferred localizations", kOp);
    return nullptr;
  }
  return String::fromUTF8Lossy(*best);
}

}  // namespace

String preferredLanguageForUserName(const String& userName) {
  String language;
  try {
    language = languageFromPreferences(userName);
  } catch (const std::exception& failure) {
    logError("%s -- Caught exception: %{public}@", kOp, String::fromUTF8Lossy(failure.what()));
  }
  return language ? language : String(u"English");
}

String localizationForLanguages(const std::vector<String>& languages) {
  const std::optional<Bundle> bundle = Bundle::library();
  if (!bundle || languages.empty()) return nullptr;
  const std::vector<std::string> available = bundle->localizations();
  const std::optional<std::string> best =
      available.empty() ? std::nullopt : platform::preferredLocalization(available, languages);
  return best ? String::fromUTF8Lossy(*best) : String();
}

bool userNamesLanguages(const String& userName) {
  if (!userName) return false;
  return !platform::PreferenceStore::current()
              .ownStringsForKey(platform::kPreferredLanguagesKey, userName)
              .empty();
}

}  // namespace sifterra
