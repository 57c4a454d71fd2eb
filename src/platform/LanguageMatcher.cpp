// LanguageMatcher: ICU's locale matcher over names of localizations.
#include "platform/LanguageMatcher.h"

#include <unicode/localematcher.h>
#include <unicode/locid.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "platform/icu_data.h"

namespace sifterra::platform {
namespace {

// Preferences are untrusted. The matcher gives each later language less weight; beyond these none could win.
constexpr std::size_t kMaximumLanguages = 32;
constexpr std::size_t kMaximumTagUnits = 64;  // no real tag is longer

bool isTagCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'-';
}

// Bogus for what names no language.
icu::Locale localeFor(std::u16string_view language) {
  icu::Locale bogus;
  bogus.setToBogus();
  if (language.empty() || language.size() > kMaximumTagUnits) return bogus;
  std::string tag;
  for (const char16_t c : language) {
    const char16_t unit = c == u'_' ? u'-' : c;
    if (!isTagCharacter(unit)) return bogus;
    tag += static_cast<char>(unit);
  }
  UErrorCode error = U_ZERO_ERROR;
  icu::Locale locale = icu::Locale::forLanguageTag(tag, error);
  // Text that is no tag gives the root locale, which every language is far from but some would match.
  if (U_FAILURE(error) || *locale.getLanguage() == '\0') return bogus;
  return locale;
}

icu::Locale localeOfLocalization(const std::string& name) {
  return localeFor(name == "English" ? u"en" : String::fromUTF8Lossy(name).view());
}

}  // namespace

std::optional<std::string> preferredLocalization(std::span<const std::string> available,
                                                 std::span<const String> languages) {
  std::vector<icu::Locale> supported;
  std::vector<const std::string*> names;  // at the same index
  for (const std::string& name : available) {
    icu::Locale locale = localeOfLocalization(name);
    if (locale.isBogus()) continue;
    supported.push_back(std::move(locale));
    names.push_back(&name);
  }
  std::vector<icu::Locale> desired;
  for (const String& language : languages.first(std::min(languages.size(), kMaximumLanguages))) {
    icu::Locale locale = localeFor(language.view());
    if (!locale.isBogus()) desired.push_back(std::move(locale));
  }
  if (supported.empty() || desired.empty()) return std::nullopt;

  UErrorCode error = U_ZERO_ERROR;
  const icu::LocaleMatcher matcher = icu::LocaleMatcher::Builder()
                                         .setSupportedLocales(supported.begin(), supported.end())
                                         .setNoDefaultLocale()
                                         .build(error);
  if (U_FAILURE(error)) return std::nullopt;
  icu::Locale::RangeIterator wanted(desired.begin(), desired.end());
  const icu::LocaleMatcher::Result best = matcher.getBestMatchResult(wanted, error);
  if (U_FAILURE(error) || best.getSupportedIndex() < 0) return std::nullopt;
  return *names[static_cast<std::size_t>(best.getSupportedIndex())];
}

}  // namespace sifterra::platform
