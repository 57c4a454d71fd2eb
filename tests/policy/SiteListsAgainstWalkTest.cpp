// Lists of thousands against lists that are walked: what the fuzz target SiteBufferFuzz checks on small ones.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Log.h"
#include "platform/NameLookup.h"
#include "reference/plain_sites.h"
#include "reference/random_text.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"

namespace sifterra {
namespace {

using platform::String;
using reference::PlainSiteBuffer;
using reference::RandomText;

// Few domains with many sites each, whose hosts, paths and queries are often prefixes of one another.
String address(RandomText& random) {
  static const std::vector<std::u16string> kHosts = {u"a.", u"b.", u"ab.", u"x"};
  static const std::vector<std::u16string> kDomains = {u"big.com",  u"big.com",  u"www.big.com",
                                                       u"other.de", u"intranet", u"3.4"};
  static const std::vector<std::u16string> kPaths = {u"/", u"a", u"B", u"/c", u"%2F"};
  static const std::vector<std::u16string> kQueries = {u"q", u"=", u"1", u"&"};
  std::u16string text = random.below(40) == 0 ? u"" : u"http://";
  text += random.of(kHosts, 3) + kDomains[random.below(kDomains.size())];
  if (random.below(4) != 0) text += u"/" + random.of(kPaths, 5);
  if (random.below(3) == 0) text += u"?" + random.of(kQueries, 3);
  return String(text);
}

class ListsOf : public testing::TestWithParam<std::uint64_t> {};

TEST_P(ListsOf, ManySitesAnswerLikeAWalk) {
  const platform::CapturedLog quiet(platform::LogLevel::Off);
  platform::NameLookup::shared().setEnabled(false);
  RandomText random(static_cast<std::uint32_t>(GetParam()));
  WFWhitelistSiteBuffer buffer;
  PlainSiteBuffer plain;
  buffer.setMaxSize(GetParam());
  plain.setCapacity(GetParam());
  for (std::uint64_t i = 0; i < 3 * GetParam(); ++i) {
    const String added = address(random);
    buffer.addURLString(added);
    plain.add(added);
    const String asked = address(random);
    SCOPED_TRACE(asked.toUTF8());
    ASSERT_EQ(buffer.containsURLString(asked), plain.contains(asked));
    ASSERT_EQ(buffer.containsMetasitePrefixOfURLString(asked), plain.containsPrefix(asked));
  }
  platform::NameLookup::shared().setEnabled(true);
  const auto set = buffer.siteSet();
  ASSERT_EQ(set.size(), plain.set.size());
  for (std::size_t i = 0; i < set.size(); ++i) ASSERT_EQ(set[i]->urlString(), plain.set[i]->urlString);
  buffer.trimToSize(0);
  EXPECT_EQ(buffer.count(), 0U);
  EXPECT_TRUE(buffer.siteSet().empty());
}

INSTANTIATE_TEST_SUITE_P(Sizes, ListsOf, testing::Values(1, 5, 40, 600));

}  // namespace
}  // namespace sifterra
