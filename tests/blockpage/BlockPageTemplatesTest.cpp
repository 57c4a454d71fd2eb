// The templates that the library ships, in every language.
#include <algorithm>
#include <set>

#include "blockpage/PageFixture.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "sifterra/blockpage/WFBlockPage.h"

namespace sifterra {
namespace {

using platform::Bundle;
using platform::CapturedLog;

struct Shipped {
  const char* name;
  bool form;   // asks for an override
  bool url;    // shows the address
  bool sites;  // lists the allowed sites
};
constexpr Shipped kTemplates[] = {
    {"blockpage", true, true, false},
    {"blockpage-net", true, true, false},
    {"blockpage-wl", true, true, true},
    {"blockpage-net-wl", true, true, true},
    {"blockpage-nooverride", false, true, false},
    {"error", false, false, false},
};

std::vector<std::string> languages() {
  return Bundle::library()->localizations();
}

std::string contents(const std::string& name, const std::string& type, const std::string& language) {
  const auto path = Bundle::library()->pathForResource(name, type, language);
  EXPECT_TRUE(path) << language << " lacks " << name << "." << type;
  return path ? platform::readFile(*path, 1 << 20).value_or("") : "";
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++found;
  return found;
}

// Calls `check` for each template in each language.
template <class Check>
void forEachTemplate(Check check) {
  for (const std::string& language : languages()) {
    for (const Shipped& shipped : kTemplates) {
      SCOPED_TRACE(language + "/" + shipped.name);
      check(shipped, language, contents(shipped.name, "html", language));
    }
  }
}

TEST(ShippedTemplates, SpeakManyLanguages) {
  const std::vector<std::string> all = languages();
  EXPECT_GE(all.size(), 14U);
  for (const char* language : {"English", "ar", "de", "es", "fa", "fr", "he", "it", "ja", "ko", "nl", "pl",
                               "pt", "ru", "sv", "tr", "zh-Hans", "zh-Hant"}) {
    EXPECT_NE(std::find(all.begin(), all.end(), language), all.end()) << language;
  }
}

TEST(ShippedTemplates, HoldTheirMarkersOnce) {
  forEachTemplate([](const Shipped& shipped, const std::string&, const std::string& html) {
    EXPECT_EQ(count(html, "USER_VISIBLE_RESTRICTED_URL_NO_LOC"), shipped.url ? 1U : 0U);
    EXPECT_EQ(count(html, "SEND_FORM_TO_URL_NO_LOC"), shipped.form ? 1U : 0U);
    EXPECT_EQ(count(html, "PAGE_TO_OVERRIDE_URL_NO_LOC"), shipped.form ? 1U : 0U);
    EXPECT_EQ(count(html, "PAGE_TO_OVERRIDE_TITLE_NO_LOC"), shipped.form ? 1U : 0U);
    EXPECT_EQ(count(html, "ALLOWED_LIST_OF_WEBSITES_NO_LOC"), shipped.sites ? 1U : 0U);
    EXPECT_EQ(count(html, "<script>INCLUDE_JAVASCRIPT_FILE_NO_LOC</script>"), 1U);
    EXPECT_EQ(count(html, "<style>INCLUDE_CSS_FILE_NO_LOC</style>"), 1U);
    const std::size_t markers = 2 + (shipped.url ? 1 : 0) + (shipped.form ? 3 : 0) + (shipped.sites ? 1 : 0);
    EXPECT_EQ(count(html, "_NO_LOC"), markers);
    EXPECT_EQ(count(html, "@"), 0U);
  });
}

TEST(ShippedTemplates, TheFormPostsUrlAndTitle) {
  forEachTemplate([](const Shipped& shipped, const std::string&, const std::string& html) {
    EXPECT_EQ(count(html, "<form"), shipped.form ? 1U : 0U);
    if (!shipped.form) return;
    EXPECT_NE(html.find("<form method=\"post\" action=\"SEND_FORM_TO_URL_NO_LOC\">"), std::string::npos);
    EXPECT_NE(html.find("name=\"url\" value=\"PAGE_TO_OVERRIDE_URL_NO_LOC\""), std::string::npos);
    EXPECT_NE(html.find("name=\"title\" value=\"PAGE_TO_OVERRIDE_TITLE_NO_LOC\""), std::string::npos);
  });
}

TEST(ShippedTemplates, NameTheirLanguageAndDirection) {
  const std::set<std::string> rightToLeft{"ar", "fa", "he"};
  forEachTemplate([&](const Shipped&, const std::string& language, const std::string& html) {
    const std::string tag = language == "English" ? "en" : language;
    const std::string direction = rightToLeft.count(language) ? "rtl" : "ltr";
    EXPECT_NE(html.find("<html lang=\"" + tag + "\" dir=\"" + direction + "\">"), std::string::npos);
  });
}

TEST(ShippedTemplates, ArePlainASCII) {
  // The response that a page replaces may have announced any charset.
  forEachTemplate([](const Shipped&, const std::string&, const std::string& html) {
    EXPECT_TRUE(std::all_of(html.begin(), html.end(), [](char c) { return c > 0; }));
  });
}

TEST(ShippedTemplates, StyleAndScriptAreTextWhereverTheyLand) {
  // An address may name their markers, and then shows them: they must not be markup there.
  for (const std::string& language : languages()) {
    SCOPED_TRACE(language);
    for (const std::string& text :
         {contents("blockpage_style", "css", language), contents("blockpage_script", "js", language)}) {
      EXPECT_GT(text.size(), 100U);
      EXPECT_EQ(text.find_first_of("<>&\"'"), std::string::npos);
      EXPECT_EQ(text.find("_NO_LOC"), std::string::npos);
    }
  }
}

TEST(ShippedTemplates, NameNothingElsewhere) {
  forEachTemplate([](const Shipped&, const std::string& language, const std::string& html) {
    for (const std::string& text : {html, contents("blockpage_style", "css", language)}) {
      for (const char* part : {"http:", "https:", "url(", "@import", "src=", "style=", "onclick"}) {
        EXPECT_EQ(count(text, part), 0U) << part;
      }
    }
  });
}

TEST(ShippedTemplates, EveryLanguageMakesEveryPage) {
  FakePreferenceStore preferences;
  for (const std::string& language : languages()) {
    SCOPED_TRACE(language);
    preferences.languages["kim"] = {text(language == "English" ? "en" : language)};
    const CapturedLog log;
    for (const bool whitelist : {false, true}) {
      for (const bool network : {false, true}) {
        WFBlockPage page(text("kim"), whitelist, network);
        EXPECT_EQ(page.preferredLanguage().toUTF8(), language);
        page.setUserVisibleURLString(text("http://a.example/"));
        page.setFormPostToURLString(text("http://127.0.0.1:10011/"));
        page.setAllowedWebSites(list({site("http://b.example/", "B")}));
        const std::string html = page.page().toUTF8();
        EXPECT_EQ(count(html, "_NO_LOC"), 0U);
        EXPECT_EQ(count(html, "http://a.example/"), 1U);
        EXPECT_EQ(count(html, "http://b.example/"), whitelist ? 1U : 0U);
      }
    }
    WFBlockPage page = WFBlockPage::initNoOveridePageWithUsername(text("kim"));
    page.setUserVisibleURLString(text("http://a.example/"));
    EXPECT_EQ(count(page.page().toUTF8(), "_NO_LOC"), 0U);
    EXPECT_TRUE(log.texts().empty());
  }
  EXPECT_EQ(count(WFBlockPage::initWithErrorPage().page().toUTF8(), "_NO_LOC"), 0U);
}

}  // namespace
}  // namespace sifterra
