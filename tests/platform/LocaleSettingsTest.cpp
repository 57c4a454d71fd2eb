#include "platform/locale_settings.h"

#include <gtest/gtest.h>

#include <string>

namespace sifterra::platform {
namespace {

using Texts = std::vector<std::string>;

Texts texts(const std::vector<String>& strings) {
  Texts all;
  for (const String& string : strings) all.push_back(string.toUTF8());
  return all;
}

TEST(LanguageOfLocale, KeepsLanguageScriptAndRegion) {
  struct Row {
    const char* locale;
    const char* language;
  };
  constexpr Row kRows[] = {
      {"de", "de"},
      {"de_AT", "de-AT"},
      {"de_AT.UTF-8", "de-AT"},
      {"de_AT@euro", "de-AT"},
      {"de_AT.ISO-8859-15@euro", "de-AT"},
      {"sr_RS@latin", "sr-Latn-RS"},
      {"sr@cyrillic", "sr-Cyrl"},
      {"ks_IN@devanagari", "ks-Deva-IN"},
      {"zh-Hant-TW", "zh-Hant-TW"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.locale);
    EXPECT_EQ(languageOfLocale(row.locale).toUTF8(), row.language);
  }
}

TEST(LanguageOfLocale, TheLocalesOfProgramsAreNone) {
  for (const char* locale : {"", "C", "C.UTF-8", "POSIX", ".UTF-8", "@euro"}) {
    SCOPED_TRACE(locale);
    EXPECT_TRUE(languageOfLocale(locale).isNull());
  }
}

TEST(LanguagesOfAccount, AreTheListElseTheOne) {
  EXPECT_EQ(texts(languagesOfAccount("[User]\nLanguage=fr_FR.UTF-8\nSession=x\n")), Texts{"fr-FR"});
  EXPECT_EQ(texts(languagesOfAccount("[User]\nLanguages=de_DE;en_US.UTF-8;\nLanguage=fr_FR\n")),
            (Texts{"de-DE", "en-US"}));
  EXPECT_EQ(texts(languagesOfAccount("[User]\nLanguages=;\nLanguage = fr_FR \r\n")), Texts{"fr-FR"});
}

TEST(LanguagesOfAccount, CountOnlyInTheUsersSection) {
  EXPECT_EQ(texts(languagesOfAccount("Language=fr\n[Other]\nLanguage=de\n")), Texts());
  EXPECT_EQ(texts(languagesOfAccount("[Other]\nLanguage=de\n[User]\n# Language=es\nLanguage=fr")),
            Texts{"fr"});
  EXPECT_EQ(texts(languagesOfAccount("")), Texts());
}

TEST(LanguagesOfSystem, ComeFromTheStrongestSetting) {
  EXPECT_EQ(texts(languagesOfSystem("LANG=de_DE.UTF-8\n")), Texts{"de-DE"});
  EXPECT_EQ(texts(languagesOfSystem("LANG=\"de_DE.UTF-8\"\n# LANG=fr\n")), Texts{"de-DE"});
  EXPECT_EQ(texts(languagesOfSystem("LANG=de\nLC_MESSAGES='fr'\n")), Texts{"fr"});
  EXPECT_EQ(texts(languagesOfSystem("LC_ALL=es\nLANG=de\nLC_MESSAGES=fr\n")), Texts{"es"});
  EXPECT_EQ(texts(languagesOfSystem("LANG=de_AT\nLANGUAGE=de_AT:de:en\n")), (Texts{"de-AT", "de", "en"}));
}

TEST(LanguagesOfSystem, ALanguageListNeedsALanguage) {
  EXPECT_EQ(texts(languagesOfSystem("LANGUAGE=de:en\n")), Texts());
  EXPECT_EQ(texts(languagesOfSystem("LANG=C.UTF-8\nLANGUAGE=de:en\n")), Texts());
  EXPECT_EQ(texts(languagesOfSystem("LANG=fr\nLANGUAGE=:\n")), Texts{"fr"});
}

TEST(LanguagesOfSystem, PassOverMalformedLines) {
  EXPECT_EQ(texts(languagesOfSystem("=\nLANG\n\"\nLANG=\"\n")), Texts{"\""});
  EXPECT_EQ(texts(languagesOfSystem(std::string("LANG=de\0x\n", 10))), Texts{std::string("de\0x", 4)});
}

}  // namespace
}  // namespace sifterra::platform
