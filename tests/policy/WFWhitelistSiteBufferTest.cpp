#include "sifterra/policy/WFWhitelistSiteBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "policy/FakeNames.h"

namespace sifterra {
namespace {

using platform::CapturedLog;
using platform::LogLevel;
using platform::String;

String text(const std::string& utf8) {
  return String::fromUTF8(utf8);
}

void add(WFWhitelistSiteBuffer& buffer, const std::vector<std::string>& addresses) {
  for (const std::string& address : addresses) buffer.addURLString(text(address));
}

bool contains(const WFWhitelistSiteBuffer& buffer, const std::string& address) {
  return buffer.containsURLString(text(address));
}

bool hasPrefixOf(const WFWhitelistSiteBuffer& buffer, const std::string& address) {
  return buffer.containsMetasitePrefixOfURLString(text(address));
}

TEST(SiteBuffer, IsEmptyAtFirst) {
  const WFWhitelistSiteBuffer buffer;
  EXPECT_EQ(buffer.maxSize(), 100000U);
  EXPECT_EQ(buffer.count(), 0U);
  EXPECT_EQ(buffer.description(), String(u"{}"));
  EXPECT_FALSE(contains(buffer, "http://example.com/"));
  EXPECT_FALSE(hasPrefixOf(buffer, "http://example.com/"));
}

TEST(SiteBuffer, DescribesItsSitesInOrder) {
  const CapturedLog log;
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://B.example/X", "http://[", "http://a.example/"});
  EXPECT_EQ(buffer.description().toUTF8(), "{http://b.example/x, (null), http://a.example/, }");
}

TEST(SiteBuffer, DropsTheOldestFirst) {
  WFWhitelistSiteBuffer buffer;
  buffer.setMaxSize(3);
  add(buffer, {"http://a.de/", "http://b.de/", "http://c.de/", "http://d.de/"});
  EXPECT_EQ(buffer.description().toUTF8(), "{http://b.de/, http://c.de/, http://d.de/, }");
  EXPECT_EQ(buffer.siteSet().size(), 3U);
  EXPECT_FALSE(contains(buffer, "http://a.de/"));
  EXPECT_FALSE(hasPrefixOf(buffer, "http://a.de/"));
  EXPECT_TRUE(contains(buffer, "http://b.de/"));
  EXPECT_TRUE(hasPrefixOf(buffer, "http://d.de/x"));
}

TEST(SiteBuffer, ForgetsASiteWithItsOlderCopy) {
  WFWhitelistSiteBuffer buffer;
  buffer.setMaxSize(2);
  add(buffer, {"http://a.de/", "http://a.de/"});
  EXPECT_EQ(buffer.count(), 2U);
  EXPECT_EQ(buffer.siteSet().size(), 1U);
  add(buffer, {"http://b.de/"});
  EXPECT_EQ(buffer.description().toUTF8(), "{http://a.de/, http://b.de/, }");
  EXPECT_FALSE(contains(buffer, "http://a.de/"));
  EXPECT_TRUE(hasPrefixOf(buffer, "http://a.de/"));  // the list has it still
}

TEST(SiteBuffer, LeavesASiteThatAMemberCoversOutOfTheSet) {
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://a.de/", "http://a.de/news", "http://b.de/news", "http://b.de/"});
  EXPECT_EQ(buffer.count(), 4U);
  const auto set = buffer.siteSet();
  ASSERT_EQ(set.size(), 3U);
  EXPECT_EQ(set[0]->urlString().toUTF8(), "http://a.de/");
  EXPECT_EQ(set[1]->urlString().toUTF8(), "http://b.de/news");
  EXPECT_EQ(set[2]->urlString().toUTF8(), "http://b.de/");
}

TEST(SiteBuffer, TakesTheOldestCoveringMemberOutOfTheSet) {
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://a.de/", "http://a.de/x/y"});  // the second is not in the set
  buffer.setMaxSize(2);
  add(buffer, {"http://a.de/x"});  // takes the first out of both; joins
  buffer.setMaxSize(3);
  add(buffer, {"http://a.de/"});  // joins: "/x" does not cover it
  ASSERT_EQ(buffer.siteSet().size(), 2U);
  buffer.trimToSize(2);  // drops "/x/y", which both members cover: the older one goes
  ASSERT_EQ(buffer.siteSet().size(), 1U);
  EXPECT_EQ(buffer.siteSet()[0]->urlString().toUTF8(), "http://a.de/");
  EXPECT_EQ(buffer.description().toUTF8(), "{http://a.de/x, http://a.de/, }");
}

TEST(SiteBuffer, OfNoCapacityIgnoresAdditions) {
  const CapturedLog log;
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://a.de/"});
  buffer.setMaxSize(0);
  EXPECT_EQ(buffer.count(), 0U);
  add(buffer, {"http://b.de/", "http://["});
  EXPECT_EQ(buffer.description(), String(u"{}"));
  EXPECT_TRUE(log.texts().empty());  // no site was made
  EXPECT_EQ(buffer.maxSize(), 0U);
}

TEST(SiteBuffer, TakesAnyCapacity) {
  WFWhitelistSiteBuffer buffer;
  buffer.setMaxSize(std::numeric_limits<std::uint64_t>::max());
  add(buffer, {"http://a.de/", "http://b.de/"});
  EXPECT_EQ(buffer.count(), 2U);
  buffer.setMaxSize(1);
  EXPECT_EQ(buffer.description().toUTF8(), "{http://b.de/, }");
  add(buffer, {"http://c.de/"});
  EXPECT_EQ(buffer.description().toUTF8(), "{http://c.de/, }");
}

TEST(SiteBuffer, AsksTheStoredSiteAboutTheCandidate) {
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://e.com/games", "http://kids.other.com/"});
  EXPECT_TRUE(contains(buffer, "http://e.com/games/chess"));
  EXPECT_FALSE(contains(buffer, "http://e.com/"));
  EXPECT_TRUE(contains(buffer, "http://my.kids.other.com/"));
  EXPECT_FALSE(contains(buffer, "http://other.com/"));
}

TEST(SiteBuffer, ReachesAnEntryWithoutDomainByCandidatesWithoutOne) {
  const CapturedLog log;
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://["});
  EXPECT_FALSE(contains(buffer, "http://e.com/"));
  EXPECT_TRUE(contains(buffer, "http://]"));
  EXPECT_TRUE(contains(buffer, "mailto:a@b"));
  EXPECT_TRUE(buffer.containsURLString(nullptr));
  EXPECT_FALSE(hasPrefixOf(buffer, "http://e.com/"));
  EXPECT_TRUE(hasPrefixOf(buffer, "mailto:a@b"));
}

TEST(SiteBuffer, ComparesACandidateWithoutDomainToEveryMetasite) {
  const CapturedLog log(LogLevel::Off);
  WFWhitelistSiteBuffer buffer;
  buffer.setMaxSize(2);
  add(buffer, {"http://a.com/one", "http://b.com/two"});
  EXPECT_TRUE(hasPrefixOf(buffer, "/one/more"));
  EXPECT_TRUE(hasPrefixOf(buffer, "/two"));
  EXPECT_FALSE(hasPrefixOf(buffer, "/three"));
  add(buffer, {"http://c.com/three"});
  EXPECT_FALSE(hasPrefixOf(buffer, "/one/more"));
  EXPECT_TRUE(hasPrefixOf(buffer, "/three"));
}

TEST(SiteBuffer, TracesMetasiteComparisonsOldestFirst) {
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://e.com/a", "http://other.com/", "http://e.com/b", "http://e.com/c"});
  const CapturedLog log;
  EXPECT_TRUE(hasPrefixOf(buffer, "http://x.e.com/b/1"));
  constexpr auto kOp = "-[WFWhitelistSite hasMetasitePrefix:] -- ";
  ASSERT_EQ(log.texts().size(), 4U);  // two per entry of the domain, until one is a prefix
  EXPECT_EQ(log.texts()[0], std::string(kOp) + "selfURL http://x.e.com/b/1, otherURL http://e.com/a");
  EXPECT_EQ(log.texts()[1], std::string(kOp) + "selfRelativePath /b/1, otherRelativePath /a");
  EXPECT_EQ(log.texts()[2], std::string(kOp) + "selfURL http://x.e.com/b/1, otherURL http://e.com/b");
  EXPECT_EQ(log.texts()[3], std::string(kOp) + "selfRelativePath /b/1, otherRelativePath /b");
}

TEST(SiteBuffer, TakesAListAndASetOver) {
  WFWhitelistSiteBuffer from;
  add(from, {"http://a.de/", "http://b.de/"});
  WFWhitelistSiteBuffer to;
  add(to, {"http://c.de/"});
  auto sites = from.siteBuffer();
  sites.insert(sites.begin() + 1, nullptr);
  sites.push_back(sites.front());
  to.setSiteBuffer(sites);
  EXPECT_EQ(to.description().toUTF8(), "{http://a.de/, http://b.de/, http://a.de/, }");
  EXPECT_EQ(to.siteBuffer()[0], from.siteBuffer()[0]);  // the same object
  EXPECT_FALSE(contains(to, "http://a.de/"));           // the set is its own
  EXPECT_TRUE(contains(to, "http://c.de/"));
  EXPECT_TRUE(hasPrefixOf(to, "http://a.de/"));
  EXPECT_FALSE(hasPrefixOf(to, "http://c.de/"));
  to.setSiteSet(sites);
  EXPECT_EQ(to.siteSet().size(), 2U);
  EXPECT_FALSE(contains(to, "http://c.de/"));
  to.trimToSize(2);
  EXPECT_FALSE(contains(to, "http://a.de/"));
  EXPECT_TRUE(contains(to, "http://b.de/"));
  EXPECT_TRUE(hasPrefixOf(to, "http://a.de/"));
}

TEST(SiteBuffer, HoldsOneHundredThousandSites) {
  WFWhitelistSiteBuffer buffer;
  for (int i = 0; i < 100001; ++i) buffer.addURLString(text("http://site" + std::to_string(i) + ".com/"));
  EXPECT_EQ(buffer.count(), 100000U);
  EXPECT_FALSE(contains(buffer, "http://site0.com/"));
  EXPECT_TRUE(contains(buffer, "http://site1.com/"));
  EXPECT_TRUE(contains(buffer, "http://site100000.com/"));
}

TEST(SiteBuffer, AddsManyAtOnceAsOneByOne) {
  const CapturedLog log;
  std::vector<std::string> addresses;
  for (int i = 0; i < 3000; ++i) {
    const std::string number = std::to_string(i % 1700);
    addresses.push_back("http://www.site" + number + ".com/" + std::string(static_cast<std::size_t>(i), 'x'));
    addresses.push_back(i % 7 == 0 ? "http://[" + number : "http://\xC3\xA4\xFF.example/" + number);
  }
  const std::vector<std::string_view> views(addresses.begin(), addresses.end());
  for (const std::uint64_t capacity : {100000U, 500U, 1U}) {
    SCOPED_TRACE(capacity);
    WFWhitelistSiteBuffer one;
    WFWhitelistSiteBuffer many;
    one.setMaxSize(capacity);
    many.setMaxSize(capacity);
    for (const std::string& address : addresses) one.addURLString(String::fromUTF8Lossy(address));
    many.addURLStrings(views);
    EXPECT_EQ(many.count(), one.count());
    EXPECT_TRUE(many.description() == one.description());
    const auto expected = one.siteSet();
    const auto set = many.siteSet();
    ASSERT_EQ(set.size(), expected.size());
    for (std::size_t i = 0; i < set.size(); ++i) ASSERT_EQ(set[i]->urlString(), expected[i]->urlString());
    for (const std::string& address : addresses) {
      const String asked = String::fromUTF8Lossy(address + "/more");
      ASSERT_EQ(many.containsURLString(asked), one.containsURLString(asked)) << address;
    }
  }
}

TEST(SiteBuffer, OfNoCapacityMakesNoneOfMany) {
  const CapturedLog log;
  WFWhitelistSiteBuffer buffer;
  buffer.setMaxSize(0);
  buffer.addURLStrings(std::vector<std::string_view>(1000, "http://["));
  EXPECT_EQ(buffer.count(), 0U);
  EXPECT_TRUE(log.texts().empty());
}

TEST(SiteBuffer, KeepsASiteOfManyAliveForWhoHoldsIt) {
  std::shared_ptr<WFWhitelistSite> held;
  {
    WFWhitelistSiteBuffer buffer;
    buffer.addURLStrings(std::vector<std::string_view>(1000, "http://a.de/x"));
    held = buffer.siteBuffer()[500];
  }
  EXPECT_EQ(held->urlString(), String(u"http://a.de/x"));
  held->setUrl(platform::URL::fromString(String(u"http://b.de/")));
  EXPECT_EQ(held->description(), String(u"http://b.de/"));
}

TEST(SiteBuffer, FindsSitesUnderTheNamesOfTheirAddresses) {
  const FakeNames names(
      {{"1.2.3.4", "a.example.com"}, {"1.0.0.1", "\xCF\x83.example"}, {"1.0.0.2", "\xCF\x82.example"}});
  WFWhitelistSiteBuffer buffer;
  add(buffer, {"http://example.com/", "http://1.0.0.1/"});
  EXPECT_TRUE(contains(buffer, "http://1.2.3.4/"));
  EXPECT_FALSE(contains(buffer, "http://1.2.3.5/"));
  EXPECT_TRUE(hasPrefixOf(buffer, "http://1.0.0.2/"));
}

// A name service that never answers.
struct SilentNames final : platform::NameSource {
  Answer nameOf(std::uint32_t /*address*/, std::chrono::milliseconds limit) override {
    ++asked;
    longest = std::max(longest, limit);
    return {Outcome::Unanswered, {}};
  }
  int asked = 0;
  std::chrono::milliseconds longest{0};
};

TEST(SiteBuffer, OfNumericHostsAsksASilentNameServiceThreeTimes) {
  const auto silent = std::make_shared<SilentNames>();
  platform::NameLookup& names = platform::NameLookup::shared();
  const auto before = names.replaceSource(silent);
  const auto load = [] {
    WFWhitelistSiteBuffer buffer;
    for (int i = 0; i < 100000; ++i) {
      buffer.addURLString(text("http://10." + std::to_string(i >> 16) + "." + std::to_string(i >> 8 & 255) +
                               "." + std::to_string(i & 255) + "/"));
    }
    EXPECT_EQ(buffer.count(), 100000U);
    EXPECT_TRUE(contains(buffer, "http://10.0.0.9/page"));  // each stands for itself
    EXPECT_FALSE(contains(buffer, "http://10.9.0.9/"));
  };
  names.setEnabled(false);
  load();
  names.setEnabled(true);
  EXPECT_EQ(silent->asked, 0);
  load();
  EXPECT_EQ(silent->asked, 3);  // six seconds in all
  EXPECT_LE(silent->longest, std::chrono::milliseconds(2000));
  names.replaceSource(before);
}

}  // namespace
}  // namespace sifterra
