#include "sifterra/policy/WFWhitelistSite.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/Log.h"
#include "policy/FakeNames.h"
#include "policy/SiteRecord.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using platform::URL;

String text(const std::string& utf8) {
  return String::fromUTF8(utf8);
}

struct Row {
  const char* entry;
  const char* visited;
  bool covered;
};

template <std::size_t N>
void expectCovered(const Row (&rows)[N]) {
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.entry) + " and " + row.visited);
    EXPECT_EQ(WFWhitelistSite(text(row.entry)).isEqual(WFWhitelistSite(text(row.visited))), row.covered);
  }
}

TEST(Site, KnowsItsAddressAndDomain) {
  const WFWhitelistSite site(text("HTTP://Shop.Example.com/A b"));
  EXPECT_EQ(site.urlString().toUTF8(), "HTTP://Shop.Example.com/A%20b");
  EXPECT_EQ(site.url().absoluteString(), site.urlString());
  EXPECT_EQ(site.domainName().toUTF8(), "example.com");
  EXPECT_EQ(site.description().toUTF8(), "http://shop.example.com/a%20b");
  EXPECT_EQ(site.hash(), WFWhitelistSite(text("ftp://example.COM/other")).hash());
  EXPECT_NE(site.hash(), WFWhitelistSite(text("http://example.org/")).hash());
}

TEST(Site, OfABadAddressIsMadeAndLogged) {
  const CapturedLog log;
  const WFWhitelistSite bad(text("http://[/"));
  EXPECT_TRUE(bad.url().isNull());
  EXPECT_TRUE(bad.domainName().isNull());
  EXPECT_TRUE(bad.description().isNull());
  EXPECT_EQ(bad.urlString().toUTF8(), "http://[/");
  EXPECT_EQ(bad.hash(), 0U);
  const WFWhitelistSite none{String()};
  EXPECT_TRUE(none.urlString().isNull());
  EXPECT_TRUE(none.url().isNull());
  EXPECT_EQ(log.texts(), std::vector<std::string>(2, "-[WFWhitelistSite initWithURLString:] -- URL is nil"));
  EXPECT_TRUE(log.contains(LogLevel::Error, "-[WFWhitelistSite initWithURLString:] -- URL is nil"));
}

TEST(Site, IsSilentAboutAnAddressWithoutHost) {
  const CapturedLog log;
  const WFWhitelistSite site(text("mailto:a@example.com"));
  EXPECT_FALSE(site.url().isNull());
  EXPECT_TRUE(site.domainName().isNull());
  EXPECT_TRUE(log.texts().empty());
}

TEST(Site, CoversByHost) {
  constexpr Row kRows[] = {
      {"http://www.example.com/", "http://shop.example.com/page", true},
      {"http://WWW.example.com/", "http://shop.example.com/page", true},
      {"http://example.com/", "http://a.b.Example.com/", true},
      {"http://kids.example.com/", "http://example.com/", false},
      {"http://kids.example.com/", "http://KIDS.example.com/", true},
      {"http://kids.example.com/", "http://fun.kids.example.com/", true},
      {"http://kids.example.com/", "http://xkids.example.com/", true},  // a plain suffix
      {"http://kids.example.com/", "http://www.example.com/", false},
      {"http://example.com/", "http://example.org/", false},
      {"http://example.de/", "http://www.example.de/", true},
      {"http://a.example.de/", "http://www.a.example.de/", true},
      {"http://intranet/", "http://intranet/", true},
      {"http://www/", "http://www/", true},
      {"https://example.com/", "ftp://example.com:21/", true},
  };
  expectCovered(kRows);
}

TEST(Site, ComparesHostsOfANamedAddressToo) {
  const FakeNames names{{"1.2.3.4", "a.example.com"}, {"1.2.3.5", "b.example.com"}};
  constexpr Row kRows[] = {
      {"http://example.com/", "http://1.2.3.4/", true},
      {"http://1.2.3.4/", "http://1.2.3.4/", true},
      {"http://1.2.3.4/", "http://1.2.3.5/", false},  // the same domain; the host has four labels
      {"http://1.2.3.4/", "http://example.com/", false},
  };
  expectCovered(kRows);
}

TEST(Site, ThatIsShorterThanFourLettersDoesNotBeginWithWWW) {
  const FakeNames names{{"0.0.0.1", "x.example.com"}, {"0.0.0.2", "y.example.com"}};
  constexpr Row kRows[] = {
      {"http://1/", "http://2/", false},  // one domain by name; "1" is no end of "2"
      {"http://1/", "http://1/", true},
  };
  expectCovered(kRows);
}

TEST(Site, CoversByPathPrefix) {
  constexpr Row kRows[] = {
      {"http://e.com/Games", "http://e.com/games/chess", true},
      {"http://e.com/Games", "http://e.com/gamesroom", true},  // no separator is looked for
      {"http://e.com/Games", "http://e.com/gam", false},
      {"http://e.com/Games//", "http://e.com/GAMES", true},
      {"http://e.com/games", "http://e.com/", false},
      {"http://e.com/", "http://e.com", true},
      {"http://e.com", "http://e.com/", true},
      {"http://e.com/a%2Fb", "http://e.com/A%2fB/c", true},
  };
  expectCovered(kRows);
}

TEST(Site, CoversByQueryPrefix) {
  constexpr Row kRows[] = {
      {"http://e.com/p?a=1", "http://e.com/p?a=12&b=2", true},
      {"http://e.com/p?a=1", "http://e.com/p?b=2&a=1", false},
      {"http://e.com/p?a=1", "http://e.com/p", true},
      {"http://e.com/p?a=1", "http://e.com/p?", false},
      {"http://e.com/p?", "http://e.com/p?anything", true},
      {"http://e.com/p", "http://e.com/p?anything", true},
      {"http://e.com/p?A=B", "http://e.com/p?a=bc", true},
      {"http://e.com/?a=1", "http://e.com/?b=1", true},  // without path no query is looked at
      {"http://e.com/?a=1", "http://e.com/p?b=1", true},
      {"http://e.com/p?a=1#one", "http://e.com/p?a=1#two", true},
  };
  expectCovered(kRows);
}

TEST(Site, WithoutDomainPassesAsReceiverOnly) {
  const CapturedLog log;
  constexpr Row kRows[] = {
      {"http://[/", "http://example.com/page?q", true},
      {"http://[/", "also bad", true},
      {"http://example.com/", "http://[/", false},
      {"/games", "http://example.com/games/chess", true},
      {"/games", "http://example.com/", false},
      {"mailto:a@b", "mailto:a@b.com", true},
      {"http:///p", "/p/q", true},  // an empty host is none
  };
  expectCovered(kRows);
}

TEST(MetasitePrefix, LooksAtDomainPathAndQueryAlone) {
  struct Case {
    const char* visited;
    const char* entry;
    bool prefix;
  };
  constexpr Case kCases[] = {
      {"http://user1.example.com/blog/post", "http://example.com/blog", true},
      {"http://user1.example.com/blog/post", "http://user2.example.com/blog", true},
      {"http://example.com/blog", "http://example.com/blog/post", false},
      {"http://example.com/bloggers", "http://example.com/Blog/", true},
      {"http://example.org/blog", "http://example.com/blog", false},
      {"http://example.com/", "http://example.com", true},
      {"http://example.com/a?x=12", "http://example.com/a?X=1", true},
      {"http://example.com/a?y", "http://example.com/a?x", false},
      {"http://example.com/a", "http://example.com/a?x", true},
      {"http://example.com/a?y", "http://example.com/?x", true},
      {"/a/b", "http://example.com/a", true},       // a null domain passes for the receiver
      {"http://example.com/a", "/a", false},        // and fails for the argument
      {"http://[", "http://example.com/a", false},  // its path is empty
      {"http://[", "http://example.com/", true},
  };
  const CapturedLog log(LogLevel::Off);
  for (const Case& row : kCases) {
    SCOPED_TRACE(std::string(row.visited) + " below " + row.entry);
    EXPECT_EQ(WFWhitelistSite(text(row.visited)).hasMetasitePrefix(WFWhitelistSite(text(row.entry))),
              row.prefix);
  }
}

TEST(MetasitePrefix, TracesWhatItCompares) {
  const WFWhitelistSite visited(text("http://a.example.com/Blog/"));
  const WFWhitelistSite entry(text("http://example.com/"));
  const CapturedLog log;
  EXPECT_TRUE(visited.hasMetasitePrefix(entry));
  EXPECT_FALSE(visited.hasMetasitePrefix(WFWhitelistSite(text("http://example.org/"))));  // says nothing
  ASSERT_EQ(log.texts(),
            (std::vector<std::string>{
                "-[WFWhitelistSite hasMetasitePrefix:] -- selfURL http://a.example.com/Blog/, otherURL "
                "http://example.com/",
                "-[WFWhitelistSite hasMetasitePrefix:] -- selfRelativePath /blog, otherRelativePath "}));
  EXPECT_EQ(log.lines()[0].level, LogLevel::Debug);
  EXPECT_EQ(log.lines()[1].level, LogLevel::Debug);
}

TEST(MetasitePrefix, TracesAnAddressThatDoesNotParseAsNull) {
  const WFWhitelistSite visited(text("http://["));
  const CapturedLog log;
  EXPECT_FALSE(visited.hasMetasitePrefix(WFWhitelistSite(text("http://example.com/a"))));
  EXPECT_EQ(log.texts(),
            (std::vector<std::string>{
                "-[WFWhitelistSite hasMetasitePrefix:] -- selfURL (null), otherURL http://example.com/a",
                "-[WFWhitelistSite hasMetasitePrefix:] -- selfRelativePath , otherRelativePath /a"}));
}

TEST(Site, FollowsItsSettersInComparisons) {
  WFWhitelistSite entry(text("http://a.example.com/one"));
  entry.setUrl(URL::fromString(text("http://b.example.com/two")));
  EXPECT_EQ(entry.url().absoluteString().toUTF8(), "http://b.example.com/two");
  EXPECT_EQ(entry.urlString().toUTF8(), "http://a.example.com/one");
  EXPECT_TRUE(entry.isEqual(WFWhitelistSite(text("http://b.example.com/two/three"))));
  EXPECT_FALSE(entry.isEqual(WFWhitelistSite(text("http://a.example.com/one"))));
  entry.setUrlString(text("anything"));
  EXPECT_EQ(entry.urlString().toUTF8(), "anything");
  entry.setUrlString(nullptr);
  EXPECT_TRUE(entry.urlString().isNull());
  entry.setUrl(nullptr);
  EXPECT_TRUE(entry.description().isNull());
  EXPECT_EQ(entry.domainName().toUTF8(), "example.com");
  EXPECT_TRUE(entry.isEqual(WFWhitelistSite(text("http://c.example.com/any"))));
}

TEST(Site, OfAnAddressThatIsTooLongIsUnparsable) {
  const CapturedLog log;
  const WFWhitelistSite site(
      String(u"http://example.com/" + std::u16string(SiteRecord::kLongestAddress, u'a')));
  EXPECT_TRUE(site.url().isNull());
  EXPECT_TRUE(log.contains(LogLevel::Error, "-[WFWhitelistSite initWithURLString:] -- URL is nil"));
}

TEST(Site, ComparesDomainsOfOtherLettersIgnoringCase) {
  // Both are lower case, and one when case is ignored.
  const FakeNames names{{"1.0.0.1", "\xCF\x83.example"}, {"1.0.0.2", "\xCF\x82.example"}};
  const WFWhitelistSite one(text("http://1.0.0.1/"));
  const WFWhitelistSite other(text("http://1.0.0.2/"));
  EXPECT_NE(one.domainName(), other.domainName());
  EXPECT_EQ(one.hash(), other.hash());
  EXPECT_TRUE(one.hasMetasitePrefix(other));
}

}  // namespace
}  // namespace sifterra
