#include <filesystem>

#include "blockpage/PageFixture.h"
#include "blockpage/preferred_language.h"
#include "platform/Log.h"
#include "sifterra/blockpage/WFBlockPage.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using Texts = std::vector<std::string>;

class PreferredLanguage : public PageFixture {
 protected:
  // What the user gets, and the one line that is logged about it ("" for none).
  void expect(const String& user, const std::string& language, const std::string& line) {
    const CapturedLog log;
    EXPECT_EQ(preferredLanguageForUserName(user).toUTF8(), language);
    EXPECT_EQ(log.texts(), line.empty() ? Texts() : Texts{line});
    for (const auto& captured : log.lines()) EXPECT_EQ(captured.level, LogLevel::Error);
  }
  void makeLocalizations(std::initializer_list<const char*> names) const {
    for (const char* name : names) std::filesystem::create_directories(directory_ + "/" + name + ".lproj");
  }
};

TEST_F(PreferredLanguage, IsTheFirstLocalizationThatSuits) {
  makeLocalizations({"English", "de", "fr"});
  preferences_.languages["kim"] = {text("fi-FI"), text("fr-CA"), text("de")};
  expect(text("kim"), "fr", "");
}

TEST_F(PreferredLanguage, WithoutUserIsEnglish) {
  makeLocalizations({"English", "de"});
  expect(nullptr, "English", "PreferredLanguageForUserName -- userName is nil");
}

TEST_F(PreferredLanguage, WithoutPreferencesIsEnglish) {
  makeLocalizations({"English", "de"});
  expect(text("kim"), "English", "PreferredLanguageForUserName -- No language preferences");
  expect(text(""), "English", "PreferredLanguageForUserName -- No language preferences");
}

TEST_F(PreferredLanguage, WithoutBundleIsEnglish) {
  preferences_.languages["kim"] = {text("de")};
  std::filesystem::remove_all(directory_);
  expect(text("kim"), "English", "PreferredLanguageForUserName -- No framework bundle");
}

TEST_F(PreferredLanguage, WithoutLocalizationsIsEnglish) {
  preferences_.languages["kim"] = {text("de")};
  expect(text("kim"), "English", "PreferredLanguageForUserName -- No available localizations");
}

TEST_F(PreferredLanguage, WithoutSuitableLocalizationIsEnglish) {
  makeLocalizations({"English", "de"});
  preferences_.languages["kim"] = {text("ja")};
  expect(text("kim"), "English", "PreferredLanguageForUserName -- No preferred localizations");
}

TEST_F(PreferredLanguage, AFailureOfThePlatformIsEnglish) {
  makeLocalizations({"English", "de"});
  preferences_.failure = "the store is gone";
  expect(text("kim"), "English", "PreferredLanguageForUserName -- Caught exception: the store is gone");
}

TEST_F(PreferredLanguage, NothingIsAskedWithoutUser) {
  preferences_.failure = "asked";
  expect(nullptr, "English", "PreferredLanguageForUserName -- userName is nil");
}

TEST_F(PreferredLanguage, OfGivenLanguagesIsTheFirstThatSuits) {
  makeLocalizations({"English", "de", "fr"});
  const CapturedLog log;
  const std::vector<String> languages = {text("qaa"), text("fr-CA"), text("de")};
  EXPECT_EQ(localizationForLanguages(languages).toUTF8(), "fr");
  EXPECT_TRUE(localizationForLanguages({text("qaa")}).isNull());
  EXPECT_TRUE(localizationForLanguages({}).isNull());
  EXPECT_EQ(log.texts(), Texts());
}

TEST_F(PreferredLanguage, IsTheUsersOwnWhereThePreferencesNameOne) {
  preferences_.languages["kim"] = {text("qaa")};
  EXPECT_TRUE(WFBlockPage::userHasLanguages(text("kim")));
  EXPECT_FALSE(WFBlockPage::userHasLanguages(text("bob")));
  EXPECT_FALSE(WFBlockPage::userHasLanguages(nullptr));
}

TEST_F(PreferredLanguage, IsReplacedOnlyByOneThatThereIs) {
  writeEnglish("blockpage.html", "English page");
  write("de", "blockpage.html", "deutsche Seite");
  write("de", "blockpage_style.css", "");
  write("de", "blockpage_script.js", "");
  preferences_.languages["kim"] = {text("en")};
  WFBlockPage page(text("kim"), false, false);
  EXPECT_FALSE(page.preferLanguages({text("qaa")}));
  EXPECT_EQ(page.page().toUTF8(), "English page");
  EXPECT_TRUE(page.preferLanguages({text("de-AT")}));
  EXPECT_EQ(page.preferredLanguage().toUTF8(), "de");
  EXPECT_EQ(page.page().toUTF8(), "deutsche Seite");
}

}  // namespace
}  // namespace sifterra
