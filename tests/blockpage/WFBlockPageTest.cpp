#include "sifterra/blockpage/WFBlockPage.h"

#include <unistd.h>

#include "blockpage/PageFixture.h"
#include "platform/Log.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::PropertyList;
using platform::String;
using Texts = std::vector<std::string>;

constexpr const char* kNilTemplate =
    "-[WFBlockPage _initWithUsername:fileName:] -- pageTemplateURL is nil for user ";

class BlockPage : public PageFixture {
 protected:
  // The path of the chosen template, below the bundle.
  std::string chosen(const WFBlockPage& page) const {
    const std::string path = page.pageTemplateURL().filePath().toUTF8();
    return path.starts_with(directory_) ? path.substr(directory_.size() + 1) : path;
  }
  // The page that the template makes when `fill` has set it up.
  template <class Fill>
  std::string rendered(const std::string& html, Fill fill, bool whitelist = false) {
    writeEnglish(whitelist ? "blockpage-wl.html" : "blockpage.html", html);
    WFBlockPage page(text("kim"), whitelist, false);
    fill(page);
    return page.page().toUTF8();
  }
  static void nothing(const WFBlockPage&) {}
};

TEST_F(BlockPage, TemplatesAreNamedForAccountAndRefusal) {
  for (const char* name :
       {"blockpage", "blockpage-net", "blockpage-wl", "blockpage-net-wl", "blockpage-nooverride", "error"}) {
    writeEnglish(name + std::string(".html"), name);
  }
  EXPECT_EQ(chosen({text("kim"), false, false}), "English.lproj/blockpage.html");
  EXPECT_EQ(chosen({text("kim"), false, true}), "English.lproj/blockpage-net.html");
  EXPECT_EQ(chosen({text("kim"), true, false}), "English.lproj/blockpage-wl.html");
  EXPECT_EQ(chosen({text("kim"), true, true}), "English.lproj/blockpage-net-wl.html");
  EXPECT_EQ(chosen(WFBlockPage::initNoOveridePageWithUsername(text("kim"))),
            "English.lproj/blockpage-nooverride.html");
  EXPECT_EQ(chosen(WFBlockPage::initWithErrorPage()), "English.lproj/error.html");
  EXPECT_EQ(WFBlockPage::initWithErrorPage().page().toUTF8(), "error");
}

TEST_F(BlockPage, IsAWhitelistBlockWhenItIsMadeSo) {
  EXPECT_TRUE(WFBlockPage(text("kim"), true, false).isWhitelistBlock());
  EXPECT_TRUE(WFBlockPage(text("kim"), true, true).isWhitelistBlock());
  EXPECT_FALSE(WFBlockPage(text("kim"), false, true).isWhitelistBlock());
  EXPECT_FALSE(WFBlockPage::initNoOveridePageWithUsername(text("kim")).isWhitelistBlock());
  EXPECT_FALSE(WFBlockPage::initWithErrorPage().isWhitelistBlock());
}

TEST_F(BlockPage, SpeaksTheUsersLanguage) {
  writeEnglish("blockpage.html", "Hello");
  write("de", "blockpage.html", "Hallo INCLUDE_CSS_FILE_NO_LOC INCLUDE_JAVASCRIPT_FILE_NO_LOC");
  write("de", "blockpage_style.css", "Stil");
  write("de", "blockpage_script.js", "Skript");
  preferences_.languages["kim"] = {text("de-AT")};
  const WFBlockPage page(text("kim"), false, false);
  EXPECT_EQ(page.preferredLanguage().toUTF8(), "de");
  EXPECT_EQ(page.page().toUTF8(), "Hallo Stil Skript");
}

TEST_F(BlockPage, SpeaksEnglishWhenNothingMatches) {
  writeEnglish("blockpage.html", "Hello");
  write("de", "blockpage.html", "Hallo");
  preferences_.languages["kim"] = {text("ja")};
  const WFBlockPage page(text("kim"), false, false);
  EXPECT_EQ(page.preferredLanguage().toUTF8(), "English");
  EXPECT_EQ(page.page().toUTF8(), "Hello");
}

TEST_F(BlockPage, TheErrorPageIsEnglishForEverybody) {
  writeEnglish("error.html", "Sorry");
  write("de", "error.html", "Leider");
  const CapturedLog log;
  EXPECT_EQ(WFBlockPage::initWithErrorPage().page().toUTF8(), "Sorry");
  EXPECT_EQ(log.texts(), Texts{"PreferredLanguageForUserName -- userName is nil"});
}

TEST_F(BlockPage, WithoutTemplateItIsMadeAndHasNoPage) {
  write("de", "error.html", "x");
  preferences_.languages["kim"] = {text("de")};
  const CapturedLog log;
  const WFBlockPage page(text("kim"), true, true);
  EXPECT_TRUE(page.pageTemplateURL().isNull());
  EXPECT_EQ(log.texts(), Texts{std::string(kNilTemplate) + "<private>, file blockpage-net-wl, language de"});
  EXPECT_TRUE(page.page().isNull());
  EXPECT_EQ(log.texts().size(), 2U);
  EXPECT_EQ(log.texts().at(1), "-[WFBlockPage page] -- block page is nil");
  for (const auto& line : log.lines()) EXPECT_EQ(line.level, LogLevel::Error);
}

TEST_F(BlockPage, ATemplateThatIsGoneGivesNoPage) {
  writeEnglish("blockpage.html", "x");
  const WFBlockPage page(text("kim"), false, false);
  ::unlink((directory_ + "/English.lproj/blockpage.html").c_str());
  const CapturedLog log;
  EXPECT_TRUE(page.page().isNull());
  EXPECT_EQ(log.texts(),
            (Texts{"-[WFBlockPage _blockpage] -- error loading block page: The file could not be read",
                   "-[WFBlockPage page] -- block page is nil"}));
}

TEST_F(BlockPage, ATemplateThatIsNoTextGivesNoPage) {
  writeEnglish("blockpage.html", "\xff\xfe");
  const WFBlockPage page(text("kim"), false, false);
  const CapturedLog log;
  EXPECT_TRUE(page.page().isNull());
  EXPECT_EQ(log.texts(),
            (Texts{"-[WFBlockPage _blockpage] -- error loading block page: The file is not UTF-8 text",
                   "-[WFBlockPage page] -- block page is nil"}));
}

TEST_F(BlockPage, FillsEveryMarker) {
  const std::string html =
      "u=USER_VISIBLE_RESTRICTED_URL_NO_LOC f=SEND_FORM_TO_URL_NO_LOC a=PAGE_TO_OVERRIDE_URL_NO_LOC "
      "t=PAGE_TO_OVERRIDE_TITLE_NO_LOC l=ALLOWED_LIST_OF_WEBSITES_NO_LOC j=INCLUDE_JAVASCRIPT_FILE_NO_LOC "
      "c=INCLUDE_CSS_FILE_NO_LOC u=USER_VISIBLE_RESTRICTED_URL_NO_LOC";
  const auto fill = [](WFBlockPage& page) {
    page.setUserVisibleURLString(text("http://a.example/it's?x&y"));
    page.setFormPostToURLString(text("http://127.0.0.1:10011/'<>&"));
    page.setFormRestrictedPageURLString(text("dXJs"));
    page.setFormRestrictedPageTitle(text("dGl0bGU="));
    page.setAllowedWebSites(list({site("http://b.example/", "B")}));
  };
  EXPECT_EQ(rendered(html, fill, true),
            "u=http://a.example/it`s?x&amp;y f=http://127.0.0.1:10011/'<>& a=dXJs t=dGl0bGU= "
            "l=<a href=\"http://b.example/\">B</a><br> j=script c=style u=http://a.example/it`s?x&amp;y");
}

TEST_F(BlockPage, WithoutAddressesTheirMarkersStay) {
  EXPECT_EQ(rendered("USER_VISIBLE_RESTRICTED_URL_NO_LOC SEND_FORM_TO_URL_NO_LOC", nothing),
            "USER_VISIBLE_RESTRICTED_URL_NO_LOC SEND_FORM_TO_URL_NO_LOC");
}

TEST_F(BlockPage, WithoutFormTextsTheirMarkersGo) {
  EXPECT_EQ(rendered("<PAGE_TO_OVERRIDE_URL_NO_LOC|PAGE_TO_OVERRIDE_TITLE_NO_LOC>", nothing), "<|>");
}

TEST_F(BlockPage, AnEmptyAddressIsAnAddress) {
  const auto fill = [](WFBlockPage& page) {
    page.setUserVisibleURLString(text(""));
    page.setFormPostToURLString(text(""));
  };
  EXPECT_EQ(rendered("<USER_VISIBLE_RESTRICTED_URL_NO_LOC|SEND_FORM_TO_URL_NO_LOC>", fill), "<|>");
}

TEST_F(BlockPage, OnlyAWhitelistBlockListsSites) {
  const auto fill = [](WFBlockPage& page) { page.setAllowedWebSites(list({site("u", "A")})); };
  EXPECT_EQ(rendered("ALLOWED_LIST_OF_WEBSITES_NO_LOC", fill), "ALLOWED_LIST_OF_WEBSITES_NO_LOC");
  EXPECT_EQ(rendered("ALLOWED_LIST_OF_WEBSITES_NO_LOC", fill, true), "<a href=\"u\">A</a><br>");
  EXPECT_EQ(rendered("ALLOWED_LIST_OF_WEBSITES_NO_LOC", nothing, true),
            "There was an error loading allowed websites");
}

TEST_F(BlockPage, WithoutStyleAndScriptTheirMarkersStay) {
  write("English", "blockpage.html", "INCLUDE_CSS_FILE_NO_LOC INCLUDE_JAVASCRIPT_FILE_NO_LOC");
  const WFBlockPage page(text("kim"), false, false);
  const CapturedLog log;
  EXPECT_EQ(page.page().toUTF8(), "INCLUDE_CSS_FILE_NO_LOC INCLUDE_JAVASCRIPT_FILE_NO_LOC");
  const std::string start = "-[WFBlockPage _fileContentWithName:extension:] -- ";
  EXPECT_EQ(log.texts(), (Texts{start + "error creating file URL for: blockpage_script",
                                start + "error creating file URL for: blockpage_style"}));
  for (const auto& line : log.lines()) EXPECT_EQ(line.level, LogLevel::Error);
}

TEST_F(BlockPage, AStyleThatIsNoTextLeavesItsMarker) {
  writeEnglish("blockpage.html", "INCLUDE_CSS_FILE_NO_LOC INCLUDE_JAVASCRIPT_FILE_NO_LOC");
  write("English", "blockpage_style.css", "\xff");
  const WFBlockPage page(text("kim"), false, false);
  const CapturedLog log;
  EXPECT_EQ(page.page().toUTF8(), "INCLUDE_CSS_FILE_NO_LOC script");
  EXPECT_EQ(log.texts(), Texts{"-[WFBlockPage _fileContentWithName:extension:] -- error loading file: "
                               "blockpage_style error: The file is not UTF-8 text"});
}

TEST_F(BlockPage, TheScriptIsInsertedBeforeTheStyle) {
  writeEnglish("blockpage.html", "INCLUDE_JAVASCRIPT_FILE_NO_LOC|INCLUDE_CSS_FILE_NO_LOC");
  write("English", "blockpage_script.js", "INCLUDE_CSS_FILE_NO_LOC");
  write("English", "blockpage_style.css", "INCLUDE_JAVASCRIPT_FILE_NO_LOC");
  EXPECT_EQ(WFBlockPage(text("kim"), false, false).page().toUTF8(),
            "INCLUDE_JAVASCRIPT_FILE_NO_LOC|INCLUDE_JAVASCRIPT_FILE_NO_LOC");
}

TEST_F(BlockPage, AMarkerInAnInsertedTextIsReplacedByALaterStep) {
  const auto fill = [](WFBlockPage& page) {
    page.setUserVisibleURLString(text("http://a.example/PAGE_TO_OVERRIDE_TITLE_NO_LOC"));
    page.setFormRestrictedPageTitle(text("INCLUDE_CSS_FILE_NO_LOC"));
    page.setAllowedWebSites(list({site("u", "INCLUDE_JAVASCRIPT_FILE_NO_LOC too")}));
  };
  EXPECT_EQ(rendered("USER_VISIBLE_RESTRICTED_URL_NO_LOC ALLOWED_LIST_OF_WEBSITES_NO_LOC", fill, true),
            "http://a.example/style <a href=\"u\">script too</a><br>");
}

TEST_F(BlockPage, AMarkerOfAnEarlierStepStays) {
  const auto fill = [](WFBlockPage& page) {
    page.setUserVisibleURLString(text("x"));
    page.setFormRestrictedPageTitle(text("USER_VISIBLE_RESTRICTED_URL_NO_LOC"));
  };
  EXPECT_EQ(rendered("PAGE_TO_OVERRIDE_TITLE_NO_LOC", fill), "USER_VISIBLE_RESTRICTED_URL_NO_LOC");
}

TEST_F(BlockPage, AnAddressThatMultipliesALongListGivesNoPage) {
  std::string address;
  for (int i = 0; i < 1000; ++i) address += "ALLOWED_LIST_OF_WEBSITES_NO_LOC";
  writeEnglish("blockpage-wl.html", "USER_VISIBLE_RESTRICTED_URL_NO_LOC");
  WFBlockPage page(text("kim"), true, false);
  page.setUserVisibleURLString(text(address));
  page.setAllowedWebSites(list(std::vector<PropertyList>(2000, site("http://a.example/", "A"))));
  const CapturedLog log;
  EXPECT_TRUE(page.page().isNull());
  EXPECT_EQ(log.texts(), Texts{"-[WFBlockPage page] -- block page is too long"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(BlockPage, PropertiesKeepWhatTheyAreGiven) {
  WFBlockPage page(text("kim"), false, false);
  EXPECT_TRUE(page.userVisibleURLString().isNull());
  EXPECT_TRUE(page.formPostToURLString().isNull());
  EXPECT_TRUE(page.formRestrictedPageURLString().isNull());
  EXPECT_TRUE(page.formRestrictedPageTitle().isNull());
  EXPECT_TRUE(page.allowedWebSites().isNull());
  page.setUserVisibleURLString(text("a"));
  page.setFormPostToURLString(text("b"));
  page.setFormRestrictedPageURLString(text("c"));
  page.setFormRestrictedPageTitle(text("d"));
  page.setAllowedWebSites(list({site("u", "A")}));
  page.setPreferredLanguage(text("de"));
  EXPECT_EQ(page.userVisibleURLString(), text("a"));
  EXPECT_EQ(page.formPostToURLString(), text("b"));
  EXPECT_EQ(page.formRestrictedPageURLString(), text("c"));
  EXPECT_EQ(page.formRestrictedPageTitle(), text("d"));
  EXPECT_EQ(page.allowedWebSites(), list({site("u", "A")}));
  EXPECT_EQ(page.preferredLanguage(), text("de"));
}

TEST_F(BlockPage, ALanguageSetLaterChangesStyleAndScriptOnly) {
  writeEnglish("blockpage.html", "Hello INCLUDE_CSS_FILE_NO_LOC");
  write("de", "blockpage.html", "Hallo");
  write("de", "blockpage_style.css", "Stil");
  WFBlockPage page(text("kim"), false, false);
  page.setPreferredLanguage(text("de"));
  EXPECT_EQ(page.page().toUTF8(), "Hello Stil");
}

}  // namespace
}  // namespace sifterra
