#include "blockpage/block_page_text.h"

#include <array>

#include "blockpage/PageFixture.h"
#include "platform/Log.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::PropertyList;
using platform::String;
using Texts = std::vector<std::string>;

std::string safe(const std::string& string) {
  return xssSafeStringFromString(text(string)).toUTF8();
}
std::string visible(const std::string& url) {
  return visibleURLText(text(url)).toUTF8();
}
std::string htmlOf(const PropertyList& sites) {
  return allowedWebSitesHTML(sites).toUTF8();
}
// The label of a site with this title.
std::string label(const std::string& title) {
  const std::string html = htmlOf(list({site("http://a.example/", title)}));
  const std::string start = R"(<a href="http://a.example/">)";
  const std::string end = "</a><br>";
  EXPECT_TRUE(html.starts_with(start) && html.ends_with(end)) << html;
  return html.substr(start.size(), html.size() - start.size() - end.size());
}

TEST(XssSafeString, ReplacesWhatHtmlGivesAMeaning) {
  EXPECT_EQ(safe("&"), "&amp;");
  EXPECT_EQ(safe("<"), "&lt;");
  EXPECT_EQ(safe(">"), "&gt;");
  EXPECT_EQ(safe("\""), "&quot;");
  EXPECT_EQ(safe("'"), "&apos;");
  EXPECT_EQ(safe("<a href=\"x\">it's & more</a>"),
            "&lt;a href=&quot;x&quot;&gt;it&apos;s &amp; more&lt;/a&gt;");
}

TEST(XssSafeString, EscapesAnAmpersandOnceAndFirst) {
  EXPECT_EQ(safe("&lt;"), "&amp;lt;");
  EXPECT_EQ(safe("&amp;"), "&amp;amp;");
}

TEST(XssSafeString, KeepsEverythingElse) {
  EXPECT_EQ(safe(""), "");
  EXPECT_EQ(safe("caf\u00e9 `\u202e\n\t/="), "caf\u00e9 `\u202e\n\t/=");
}

TEST(XssSafeString, OfNullIsNull) {
  EXPECT_TRUE(xssSafeStringFromString(nullptr).isNull());
}

TEST(VisibleURL, ShowsAnApostropheAsAGraveAccentAndEscapesTheRest) {
  EXPECT_EQ(visible("http://a.example/it's?a=1&b=<2>\""), "http://a.example/it`s?a=1&amp;b=&lt;2&gt;&quot;");
}

TEST(VisibleURL, OfNullTellsSo) {
  EXPECT_EQ(visibleURLText(nullptr).toUTF8(), "Impossible to determine URL");
}

TEST(AllowedWebSites, AreLinksInOrder) {
  EXPECT_EQ(htmlOf(list({site("http://b.example/", "B"), site("http://a.example/?x=1&y=2", "A")})),
            "<a href=\"http://b.example/\">B</a><br><a href=\"http://a.example/?x=1&y=2\">A</a><br>");
}

TEST(AllowedWebSites, AnEmptyListIsEmptyText) {
  const String html = allowedWebSitesHTML(list({}));
  EXPECT_FALSE(html.isNull());
  EXPECT_EQ(html.length(), 0U);
}

TEST(AllowedWebSites, NoListIsAMessage) {
  const std::string message = "There was an error loading allowed websites";
  EXPECT_EQ(htmlOf(PropertyList()), message);
  EXPECT_EQ(htmlOf(PropertyList(text("http://a.example/"))), message);
  EXPECT_EQ(htmlOf(site("http://a.example/", "A")), message);
}

TEST(AllowedWebSites, TitlesAreEscaped) {
  EXPECT_EQ(label("<b>Tom's</b>"), "&lt;b&gt;Tom&apos;s&lt;/b&gt;");
}

TEST(AllowedWebSites, AddressesAreNot) {
  EXPECT_EQ(htmlOf(list({site("http://a.example/\"x", "A")})), "<a href=\"http://a.example/\"x\">A</a><br>");
}

TEST(AllowedWebSites, ALabelOf40UnitsIsShownWholeAndOneOf41IsCut) {
  const std::string forty(40, 'x');
  EXPECT_EQ(label(forty), forty);
  EXPECT_EQ(label(forty + "y"), forty + "...");
  EXPECT_EQ(label(forty + std::string(1000, 'y')), forty + "...");
}

TEST(AllowedWebSites, TheCutCountsUTF16UnitsAndMayPartAPair) {
  const std::string twenty = [] {
    std::string emoji;
    for (int i = 0; i < 20; ++i) emoji += "\U0001F600";
    return emoji;
  }();
  EXPECT_EQ(label(twenty), twenty);  // 40 units
  const String cut = allowedWebSitesHTML(list({site("u", "x" + twenty)}));
  EXPECT_NE(cut.view().find(u"\U0001F600\xD83D...</a>"), std::u16string_view::npos);
}

TEST(AllowedWebSites, TheCutComesAfterTheEscapingAndMayPartAnEntity) {
  EXPECT_EQ(label(std::string(35, 'x') + "&"), std::string(35, 'x') + "&amp;");    // 40 units
  EXPECT_EQ(label(std::string(36, 'x') + "&"), std::string(36, 'x') + "&amp...");  // 41 units
  EXPECT_EQ(label(std::string(38, 'x') + "<b>"), std::string(38, 'x') + "&l...");
}

TEST(AllowedWebSites, WithoutTitleTheAddressIsTheLabelAsItStands) {
  const CapturedLog log;
  EXPECT_EQ(htmlOf(list({siteWith("address", "http://a.example/?a&b'")})),
            "<a href=\"http://a.example/?a&b'\">http://a.example/?a&b'</a><br>");
  EXPECT_EQ(log.texts(), Texts{"-[WFBlockPage _allowedWebSitesHTML] -- error getting title for websiteInfo: "
                               "{address = http://a.example/?a&b';}"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST(AllowedWebSites, AnAddressAsLabelIsCutAsWell) {
  const std::string address = "http://a.example/" + std::string(24, 'x');  // 41 units
  EXPECT_EQ(htmlOf(list({siteWith("address", address)})),
            "<a href=\"" + address + "\">" + address.substr(0, 40) + "...</a><br>");
}

TEST(AllowedWebSites, WithoutAddressTheLinkLeadsNowhere) {
  const CapturedLog log;
  EXPECT_EQ(htmlOf(list({siteWith("pageTitle", "A")})),
            "<a href=\"http://missing-address.invalid/\">A</a><br>");
  EXPECT_EQ(log.texts(),
            Texts{"-[WFBlockPage _allowedWebSitesHTML] -- error getting address for websiteInfo: "
                  "{pageTitle = A;}"});
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST(AllowedWebSites, EntriesOfOtherKindsLackBoth) {
  const CapturedLog log;
  const std::string link =
      "<a href=\"http://missing-address.invalid/\">http://missing-address.invalid/</a><br>";
  const PropertyList number(std::vector<PropertyList::Entry>{{text("address"), PropertyList(true)}});
  EXPECT_EQ(htmlOf(list({PropertyList(text("x")), number, list({})})), link + link + link);
  const std::string start = "-[WFBlockPage _allowedWebSitesHTML] -- error getting ";
  EXPECT_EQ(log.texts(), (Texts{start + "address for websiteInfo: (no dictionary)",
                                start + "title for websiteInfo: (no dictionary)",
                                start + "address for websiteInfo: {address = (no text);}",
                                start + "title for websiteInfo: {address = (no text);}",
                                start + "address for websiteInfo: (no dictionary)",
                                start + "title for websiteInfo: (no dictionary)"}));
}

TEST(ReplaceMarkers, InOrderEveryOccurrence) {
  const std::array<MarkerValue, 2> values{{{u"AA", String(u"1")}, {u"BB", String(u"2")}}};
  EXPECT_EQ(replaceMarkers(u"AA BB AABB.", values, 100), u"1 2 12.");
}

TEST(ReplaceMarkers, NullLeavesAMarkerAndEmptyTakesItAway) {
  const std::array<MarkerValue, 2> values{{{u"AA", nullptr}, {u"BB", String(u"")}}};
  EXPECT_EQ(replaceMarkers(u"AABB", values, 100), u"AA");
}

TEST(ReplaceMarkers, AMarkerInAValueIsReplacedByALaterStepOnly) {
  const std::array<MarkerValue, 2> values{{{u"AA", String(u"BB")}, {u"BB", String(u"AA")}}};
  EXPECT_EQ(replaceMarkers(u"AA", values, 100), u"AA");
  EXPECT_EQ(replaceMarkers(u"AA BB", values, 100), u"AA AA");
}

TEST(ReplaceMarkers, GivesUpBeyondTheLimit) {
  const std::array<MarkerValue, 1> values{{{u"AA", String(u"12345")}}};
  EXPECT_EQ(replaceMarkers(u"AAAAx", values, 11), u"1234512345x");
  EXPECT_EQ(replaceMarkers(u"AAAAx", values, 10), std::nullopt);
  EXPECT_EQ(replaceMarkers(u"AAxxxx", values, 3), std::nullopt);
}

TEST(ReplaceMarkers, MeasuresBeforeItMakesText) {
  // 10^5 markers for 10^5 units each would take 20 GB.
  std::u16string many;
  for (int i = 0; i < 100000; ++i) many += u"AA";
  const std::array<MarkerValue, 1> values{{{u"AA", String(std::u16string(100000, u'x'))}}};
  EXPECT_EQ(replaceMarkers(many, values, std::size_t{32} << 20), std::nullopt);
}

}  // namespace
}  // namespace sifterra
