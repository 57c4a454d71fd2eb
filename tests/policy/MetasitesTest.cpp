#include "policy/metasites.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/Bundle.h"
#include "platform/Log.h"
#include "sifterra/policy/url_domain.h"

namespace sifterra {
namespace {

using platform::Bundle;
using platform::CapturedLog;
using platform::LogLevel;
using platform::String;
using platform::URL;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

URL url(const std::string& text) {
  return URL::fromString(String::fromUTF8(text));
}

// A bundle of its own.
class Metasites : public ::testing::Test {
 protected:
  Metasites() {
    char name[] = "/tmp/sifterra-metasites-XXXXXX";
    directory = ::mkdtemp(name);
    Bundle::setLibraryDirectoryForTesting(directory);
    resetMetasitesForTesting();
  }
  ~Metasites() override {
    Bundle::setLibraryDirectoryForTesting("");
    resetMetasitesForTesting();
    std::filesystem::remove_all(directory);
  }
  void write(const std::string& name, const std::string& text) const {
    std::ofstream(directory + "/" + name, std::ios::binary) << text;
  }
  std::string directory;
};

TEST_F(Metasites, LinesAreTakenAsTheyStand) {
  write("lines.txt",
        "# comment\n\nexample.com\n blank.example.com\n#\nexample.org \r\n\tx\n\n\xC3\xA4.example");
  const auto lines = arrayByConvertingLinesInStringsAtPath(String::fromUTF8(directory + "/lines.txt"));
  ASSERT_TRUE(lines);
  EXPECT_THAT(*lines, ElementsAre(String(u"example.com"), String(u" blank.example.com"),
                                  String(u"example.org \r"), String(u"\tx"), String(u"\u00E4.example")));
}

TEST_F(Metasites, AnEmptyFileHasNoLines) {
  write("lines.txt", "");
  const auto lines = arrayByConvertingLinesInStringsAtPath(String::fromUTF8(directory + "/lines.txt"));
  ASSERT_TRUE(lines);
  EXPECT_THAT(*lines, IsEmpty());
}

TEST_F(Metasites, AFileThatCannotBeReadIsLogged) {
  constexpr auto kOp =
      "+[WFWhitelistUserPreferences _arrayByConvertingLinesInStringsAtPath:] -- Failed to load file at path ";
  const CapturedLog log;
  EXPECT_FALSE(arrayByConvertingLinesInStringsAtPath(String::fromUTF8(directory + "/none.txt")));
  write("latin.txt", "caf\xE9\n");
  EXPECT_FALSE(arrayByConvertingLinesInStringsAtPath(String::fromUTF8(directory + "/latin.txt")));
  EXPECT_THAT(log.texts(), ElementsAre(kOp + directory + "/none.txt error: No such file or directory",
                                       kOp + directory + "/latin.txt error: it is not UTF-8"));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
}

TEST_F(Metasites, AMissingListIsEmptyForGood) {
  const CapturedLog log;
  EXPECT_TRUE(sharedMetasiteDomainNamesDictionary().empty());
  EXPECT_THAT(
      log.texts(),
      ElementsAre("+[WFWhitelistUserPreferences _metasiteDomainNamesArray] -- Failed to load metasite.txt"));
  EXPECT_EQ(log.lines().at(0).level, LogLevel::Error);
  write("metasites.txt", "example.com\n");
  EXPECT_TRUE(sharedMetasiteDomainNamesDictionary().empty());
  EXPECT_FALSE(isURLMetasite(url("http://example.com/")));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(Metasites, MissingExceptionsAreTriedAgainAndKeptOnceTheyLoad) {
  const CapturedLog log;
  constexpr auto kLine =
      "+[WFWhitelistUserPreferences _sharedMetasiteExceptionsDomainNamesArray] -- Failed to load "
      "metasites_exceptions.txt";
  EXPECT_EQ(sharedMetasiteExceptionsDomainNamesArray(), nullptr);
  EXPECT_EQ(sharedMetasiteExceptionsDomainNamesArray(), nullptr);
  EXPECT_THAT(log.texts(), ElementsAre(kLine, kLine));
  write("metasites_exceptions.txt", "own.example.com\n");
  const auto loaded = sharedMetasiteExceptionsDomainNamesArray();
  ASSERT_NE(loaded, nullptr);
  std::filesystem::remove(directory + "/metasites_exceptions.txt");
  EXPECT_EQ(sharedMetasiteExceptionsDomainNamesArray(), loaded);
}

TEST_F(Metasites, WithoutExceptionsEveryHostOfTheDomainIsAMetasite) {
  write("metasites.txt", "example.com\n");
  EXPECT_TRUE(isURLMetasite(url("http://own.example.com/")));
  write("metasites_exceptions.txt", "\n");
  EXPECT_TRUE(isURLMetasite(url("http://own.example.com/")));
}

TEST_F(Metasites, HostsAreMetasitesByTheirDomain) {
  write("metasites.txt", "example.com\nhost.example.de\n");
  write("metasites_exceptions.txt", "own.example.com\n.exact\nwhole.example.com\n");
  EXPECT_TRUE(isURLMetasite(url("http://example.com/")));
  EXPECT_TRUE(isURLMetasite(url("https://WWW.Example.COM/a")));
  EXPECT_TRUE(isURLMetasite(url("http://any.example.com/")));
  EXPECT_TRUE(isURLMetasite(url("http://host.example.de/")));
  EXPECT_FALSE(isURLMetasite(url("http://other.example.de/")));
  EXPECT_FALSE(isURLMetasite(url("http://example.org/")));
  EXPECT_FALSE(isURLMetasite(url("file:///a")));
  EXPECT_FALSE(isURLMetasite(nullptr));
}

TEST_F(Metasites, ExceptionsAreSuffixesCaseIncluded) {
  write("metasites.txt", "example.com\nlong.example.de\n");
  write("metasites_exceptions.txt",
        "own.example.com\nvery.long.suffix.of.own.example.com\nlong.example.de\n");
  EXPECT_FALSE(isURLMetasite(url("http://own.example.com/")));  // the whole host
  EXPECT_FALSE(isURLMetasite(url("http://a.own.example.com/")));
  EXPECT_FALSE(isURLMetasite(url("http://xown.example.com/")));  // no boundary is asked for
  EXPECT_TRUE(isURLMetasite(url("http://OWN.example.com/")));    // the case counts
  EXPECT_TRUE(isURLMetasite(url("http://wn.example.com/")));
  EXPECT_FALSE(isURLMetasite(url("http://long.example.de/")));
}

// What the library ships.
class ShippedMetasites : public ::testing::Test {
 protected:
  ShippedMetasites() {
    resetMetasitesForTesting();
    domains = metasiteDomainNamesArray().value_or(MetasiteLines());
    const auto loaded = sharedMetasiteExceptionsDomainNamesArray();
    if (loaded) exceptions = *loaded;
  }
  MetasiteLines domains;
  MetasiteLines exceptions;
};

TEST_F(ShippedMetasites, StandInTheFormThatHostsAreReducedTo) {
  EXPECT_GT(domains.size(), 30U);
  for (const String& line : domains) {
    SCOPED_TRACE(line.toUTF8());
    EXPECT_EQ(hostnameFromSecondLevelDomain(url("http://" + line.toUTF8() + "/")), line);
    EXPECT_EQ(std::count(domains.begin(), domains.end(), line), 1);
  }
}

TEST_F(ShippedMetasites, HaveExceptionsThatLieBelowThem) {
  EXPECT_GT(exceptions.size(), 5U);
  for (const String& line : exceptions) {
    SCOPED_TRACE(line.toUTF8());
    const String domain = hostnameFromSecondLevelDomain(url("http://" + line.toUTF8() + "/"));
    EXPECT_THAT(domains, ::testing::Contains(domain));
    EXPECT_FALSE(isURLMetasite(url("http://" + line.toUTF8() + "/")));
  }
}

TEST_F(ShippedMetasites, AreJustifiedLineByLine) {
  for (const char* name : {"/metasites.txt", "/metasites_exceptions.txt"}) {
    std::ifstream file(std::string(SIFTERRA_SOURCE_DIR) + "/resources" + name);
    std::string line;
    std::string before;
    while (std::getline(file, line)) {
      const bool entry = !line.empty() && line[0] != '#';
      EXPECT_TRUE(!entry || before.starts_with("# ")) << line;
      before = line;
    }
    EXPECT_TRUE(file.eof());
  }
}

TEST_F(ShippedMetasites, KnowWellKnownHosts) {
  EXPECT_TRUE(isURLMetasite(url("http://www.github.com/someone")));
  EXPECT_TRUE(isURLMetasite(url("http://medium.com/@someone")));
  EXPECT_TRUE(isURLMetasite(url("http://git.sr.ht/~someone")));
  EXPECT_FALSE(isURLMetasite(url("http://docs.github.com/")));
  EXPECT_FALSE(isURLMetasite(url("http://someone.wordpress.com/")));  // the host names the site
}

}  // namespace
}  // namespace sifterra
