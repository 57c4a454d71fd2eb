#include "platform/LanguageMatcher.h"

#include <gtest/gtest.h>

#include <vector>

namespace sifterra::platform {
namespace {

const std::vector<std::string> kAvailable{"English", "ar", "de", "es", "fr",      "he",
                                          "ja",      "nb", "pt", "uk", "zh-Hans", "zh-Hant"};

// "-" for none.
std::string best(const std::vector<std::string>& languages,
                 const std::vector<std::string>& available = kAvailable) {
  std::vector<String> wanted;
  for (const std::string& language : languages) wanted.push_back(String::fromUTF8(language));
  return preferredLocalization(available, wanted).value_or("-");
}

TEST(PreferredLocalization, SuitsTheLanguage) {
  struct Row {
    const char* language;
    const char* localization;
  };
  constexpr Row kRows[] = {
      {"de", "de"},         {"de-AT", "de"},      {"de_CH", "de"},      {"DE", "de"},
      {"en", "English"},    {"en-GB", "English"}, {"pt-BR", "pt"},      {"zh", "zh-Hans"},
      {"zh-CN", "zh-Hans"}, {"zh-TW", "zh-Hant"}, {"zh-HK", "zh-Hant"}, {"zh-Hant-HK", "zh-Hant"},
      {"no", "nb"},         {"iw", "he"},   // the old code of Hebrew
      {"ar-EG", "ar"},      {"gsw", "de"},  // readers of Swiss German read German
      {"fi", "-"},          {"zz", "-"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.language);
    EXPECT_EQ(best({row.language}), row.localization);
  }
}

TEST(PreferredLocalization, TakesTheFirstLanguageThatThereIs) {
  EXPECT_EQ(best({"fi", "fr", "de"}), "fr");
  EXPECT_EQ(best({"en", "de"}), "English");
  EXPECT_EQ(best({"fi", "et"}), "-");
}

TEST(PreferredLocalization, PassesOverWhatIsNoLanguage) {
  EXPECT_EQ(best({"", "../de", "d\u00e9", "de fr", "-", "und", "C", std::string(1000, 'd'), "fr"}), "fr");
  EXPECT_EQ(best({"", "x"}), "-");
  EXPECT_EQ(best({"de"}, {"", "not a language", "fr"}), "-");
}

TEST(PreferredLocalization, PrefersAnExactMatchToARelatedLanguageBeforeIt) {
  EXPECT_EQ(best({"sw", "de"}), "de");  // readers of Swahili often read English
  EXPECT_EQ(best({"sw"}), "English");
}

TEST(PreferredLocalization, ALanguageCountsLessTheLaterItComes) {
  std::vector<std::string> languages(9, "fi");
  languages.emplace_back("de");
  EXPECT_EQ(best(languages), "de");
  languages.insert(languages.begin(), 100, "fi");
  EXPECT_EQ(best(languages), "-");
}

TEST(PreferredLocalization, NeedsBothSides) {
  EXPECT_EQ(best({}), "-");
  EXPECT_EQ(best({"de"}, {}), "-");
}

TEST(PreferredLocalization, AnswersTheNameAsItIs) {
  EXPECT_EQ(best({"pt-PT"}, {"English", "pt_BR"}), "pt_BR");
}

}  // namespace
}  // namespace sifterra::platform
