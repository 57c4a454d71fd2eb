#include "policies/SiteList.h"

#include <gtest/gtest.h>

#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

SiteList read(const std::string& bytes, std::size_t chunk = SIZE_MAX) {
  return readSiteList(std::make_unique<MemoryStream>(bytes, chunk), ListForm::Auto);
}

std::string addressesOf(const SiteList& list) {
  std::string text;
  for (const ListedSite& site : list.sites) text += site.address + " ";
  return text;
}

TEST(SiteList, TellsBadLinesByNumberAndKeepsTheOthers) {
  const SiteList list = read("# blocked\na.example\n\n||b.example^\r\n0.0.0.0 c.example c@d\r\ne.example");
  EXPECT_EQ(addressesOf(list), "http://a.example http://c.example http://e.example ");
  EXPECT_EQ(list.lineCount, 6u);
  EXPECT_EQ(list.badLineCount, 2u);
  ASSERT_EQ(list.badLines.size(), 2u);
  EXPECT_EQ(list.badLines[0].number, 4u);
  EXPECT_EQ(list.badLines[0].problem, "\"||b.example^\" is no domain");
  EXPECT_EQ(list.badLines[1].number, 5u);
}

TEST(SiteList, TellsTwentyBadLinesAndCountsAll) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "not good\n";
  const SiteList list = read(text + "a.example\n");
  EXPECT_EQ(list.badLines.size(), 20u);
  EXPECT_EQ(list.badLines.back().number, 20u);
  EXPECT_EQ(list.badLineCount, 1000u);
  EXPECT_EQ(addressesOf(list), "http://a.example ");
}

TEST(SiteList, ALineWithoutEndTakesNoMemory) {
  const SiteList list = read(std::string(std::size_t{20} << 20, 'x') + "\na.example\n");
  EXPECT_EQ(addressesOf(list), "http://a.example ");
  ASSERT_EQ(list.badLines.size(), 1u);
  EXPECT_EQ(list.badLines[0].problem, "\"" + std::string(60, 'x') + "...\" is longer than a line may be");
}

TEST(SiteList, TheLongestLineIsRead) {
  const std::string address = "http://a.example/" + std::string(kLongestSiteLine - 17, 'p');
  EXPECT_EQ(addressesOf(read(address + "\r\n")), address + " ");
  EXPECT_EQ(read(address + "p\n").badLineCount, 1u);
}

TEST(SiteList, ReadsCompressedLists) {
  EXPECT_EQ(addressesOf(read(gzipped("a.example\nb.example\n"))), "http://a.example http://b.example ");
  EXPECT_THROW((void)read(gzipped("a.example\n").substr(0, 12)), InputError);
}

TEST(SiteList, DoesNotDependOnHowItArrives) {
  const std::string text = "a.example\r\n# c\r\n0.0.0.0 b.example c.example\nhttp://d.example/\tTitle\nb@d\n";
  const std::string whole = addressesOf(read(text));
  for (std::size_t chunk = 1; chunk < 12; ++chunk) EXPECT_EQ(addressesOf(read(text, chunk)), whole);
}

TEST(SiteList, AnEmptyListIsGood) {
  const SiteList list = read("");
  EXPECT_EQ(list.lineCount, 0u);
  EXPECT_EQ(list.badLineCount, 0u);
  EXPECT_TRUE(list.sites.empty());
}

TEST(SiteList, HasAMillionSitesAtMost) {
  std::string text;
  for (std::size_t i = 0; i < SiteList::kMostSites + 1; ++i) text += "a.b\n";
  const SiteList list = read(text);
  EXPECT_EQ(list.sites.size(), SiteList::kMostSites);
  ASSERT_EQ(list.badLines.size(), 1u);
  EXPECT_EQ(list.badLines[0].number, SiteList::kMostSites + 1);
  EXPECT_EQ(list.badLines[0].problem, "there are more than 1000000 sites");
}

}  // namespace
}  // namespace sifterra::tools
