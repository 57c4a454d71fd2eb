#include "policies/site_line.h"

#include <gtest/gtest.h>

#include "sifterra/platform/URL.h"

namespace sifterra::tools {
namespace {

// The addresses of a line, each followed by a blank; behind them "|TITLE" for a title and "!PROBLEM" for a
// problem.
std::string read(std::string_view line, ListForm form = ListForm::Auto) {
  const SiteLine parsed = parseSiteLine(line, form);
  std::string text;
  for (const ListedSite& site : parsed.sites) {
    text += site.address + (site.title.empty() ? "" : "|" + site.title) + " ";
  }
  return parsed.problem.empty() ? text : text + "!" + parsed.problem;
}

struct Row {
  std::string line;
  std::string read;
};

TEST(SiteLine, TellsItsFormByItself) {
  const Row rows[] = {
      {"example.com", "http://example.com "},
      {"  WWW.Example.COM.\t", "http://www.example.com "},
      {".example.com", "http://example.com "},
      {"*.example.com", "http://example.com "},
      {"intranet", "http://intranet "},
      {"my_host.example", "http://my_host.example "},
      {"xn--bcher-kva.example", "http://xn--bcher-kva.example "},
      {"192.0.2.1", "http://192.0.2.1 "},
      {"0.0.0.0 ads.example", "http://ads.example "},
      {"127.0.0.1\tads.example  www.ads.example # two", "http://ads.example http://www.ads.example "},
      {"::1 ads.example", "http://ads.example "},
      {"fe80::1%lo0 ads.example", "http://ads.example "},
      {"example.com/Games/", "http://example.com/Games/ "},
      {"example.com:8080", "http://example.com:8080 "},
      {"example.com?q=a", "http://example.com?q=a "},
      {"HTTPS://Example.com/A?B#top", "https://example.com/A?B "},
      {"http://proxy.example/http://other.example/", "http://proxy.example/http://other.example/ "},
      {"proxy.example/http://other.example/", "http://proxy.example/http://other.example/ "},
      {"http://[2001:db8::1]/", "http://[2001:db8::1]/ "},
      {"http://example.com/\tOur library # 2", "http://example.com/|Our library # 2 "},
      {"http://example.com/\tbell\arings", "http://example.com/|bell rings "},
      {"\xef\xbb\xbf"
       "example.com",
       "http://example.com "},
      {"example.com\r", "http://example.com "},
      {"example.com # why", "http://example.com "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(read(row.line), row.read);
  }
}

TEST(SiteLine, BlankLinesAndCommentsHoldNothing) {
  for (const char* line : {"", " \t ", "# example.com", "   # 127.0.0.1 a.example", "\r", "\xef\xbb\xbf"}) {
    EXPECT_EQ(read(line), "");
  }
  EXPECT_EQ(read("example.com/a#b"), "http://example.com/a ");  // no comment: no white space before it
}

TEST(SiteLine, PassesOverTheNamesOfTheMachineInHostsFiles) {
  EXPECT_EQ(read("127.0.0.1 localhost localhost.localdomain"), "");
  EXPECT_EQ(read("::1 ip6-localhost ip6-loopback"), "");
  EXPECT_EQ(read("255.255.255.255 broadcasthost"), "");
  EXPECT_EQ(read("0.0.0.0 0.0.0.0"), "");
  EXPECT_EQ(read("0.0.0.0 localhost ads.example"), "http://ads.example ");
}

TEST(SiteLine, EscapesWhatRFC3986DoesNotAllow) {
  EXPECT_EQ(read("example.com/b\xc3\xbc"
                 "cher|x"),
            "http://example.com/b%C3%BCcher%7Cx ");
  EXPECT_EQ(read("example.com/100%"), "http://example.com/100%25 ");
  EXPECT_EQ(read("example.com/a%2fb%zz"), "http://example.com/a%2fb%25zz ");
}

TEST(SiteLine, TellsWhatIsWrong) {
  const Row rows[] = {
      {"||ads.example^", "!\"||ads.example^\" is no domain"},
      {"two words", "!\"two words\" holds more than one word"},
      {"b\xc3\xbc"
       "cher.example",
       "!\"b\xc3\xbc"
       "cher.example\" is not ASCII: an address bar sends the form that begins with xn--"},
      {"http://b\xc3\xbc"
       "cher.example/",
       "!\"http://b\xc3\xbc"
       "cher.example/\" is not ASCII: an address bar sends the form that begins with xn--"},
      {"ftp://example.com/", "!\"ftp://example.com/\" is no http or https address"},
      {"http://user@example.com/", "!\"http://user@example.com/\" names a user, which is not compared"},
      {"http://", "!\"http://\" is no web address"},
      {"/path", "!\"/path\" is no web address"},
      {"exa mple.com/x", "!\"exa mple.com/x\" holds more than one word"},
      {"-bad.example", "!\"-bad.example\" is no domain"},
      {"bad-.example", "!\"bad-.example\" is no domain"},
      {"a..example", "!\"a..example\" is no domain"},
      {"..", "!\"..\" is no domain"},
      {"1.2.3", "!\"1.2.3\" is no domain"},
      {"1.2.3.4.5", "!\"1.2.3.4.5\" is no domain"},
      {"1.2.3.256", "!\"1.2.3.256\" is no domain"},
      {"192.0.2.0/24", "!\"192.0.2.0/24\" is a range of addresses, which a list cannot hold"},
      {".xxx", "!\".xxx\" is a whole top-level domain, which a list cannot hold"},
      {"0.0.0.0 good.example b@d", "http://good.example !\"b@d\" is no domain"},
      {"::1", "!\"::1\" is no web address"},
      {std::string("a\0b", 3), std::string("!\"a\0b\" holds a zero byte", 24)},
      {std::string(64, 'x') + ".example", "!\"" + std::string(60, 'x') + "...\" is no domain"},
      {std::string(8193, 'x'), "!\"" + std::string(60, 'x') + "...\" is longer than a line may be"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(read(row.line), row.read);
  }
}

TEST(SiteLine, KeepsToTheFormThatIsGiven) {
  EXPECT_EQ(read("example.com/x", ListForm::Domains), "!\"example.com/x\" is no domain");
  EXPECT_EQ(read("0.0.0.0 a.example", ListForm::Domains), "!\"0.0.0.0 a.example\" holds more than one word");
  EXPECT_EQ(read("example.com", ListForm::Hosts), "!\"example.com\" is no line of a hosts file");
  EXPECT_EQ(read("example.com", ListForm::Urls), "http://example.com ");
  EXPECT_EQ(read("example.com", ListForm::SquidGuard), "http://example.com ");
  EXPECT_EQ(read(".example.com", ListForm::Squid), "http://example.com ");
}

TEST(SiteLine, LabelsAndNamesHaveTheirLimits) {
  const std::string label(63, 'a');
  const std::string name = label + "." + label + "." + label + "." + std::string(61, 'b');
  EXPECT_EQ(name.size(), 253u);
  EXPECT_EQ(read(name), "http://" + name + " ");
  EXPECT_NE(read(name + "b").find("is no domain"), std::string::npos);
}

TEST(SiteLine, IsWrittenInEachForm) {
  struct Forms {
    const char* address;
    const char* domains;  // "-" for what the form cannot tell
    const char* squid;
    const char* hosts;
    const char* squidguard;
    const char* urls;
  };
  const Forms rows[] = {
      {"http://example.com", "example.com", ".example.com", "0.0.0.0 example.com", "example.com",
       "http://example.com"},
      {"https://example.com/", "example.com", ".example.com", "0.0.0.0 example.com", "example.com/",
       "https://example.com/"},
      {"http://intranet", "intranet", "intranet", "0.0.0.0 intranet", "intranet", "http://intranet"},
      {"http://localhost", "localhost", "localhost", "-", "localhost", "http://localhost"},
      {"http://192.0.2.1", "192.0.2.1", "192.0.2.1", "-", "192.0.2.1", "http://192.0.2.1"},
      {"http://192.0.2.1/24", "-", "-", "-", "-", "http://192.0.2.1/24"},
      {"http://example.com/a?b", "-", "-", "-", "example.com/a?b", "http://example.com/a?b"},
      {"http://example.com:81", "-", "-", "-", "example.com:81", "http://example.com:81"},
      {"http://a b/", "-", "-", "-", "-", "-"},
      {"http://a\tb", "-", "-", "-", "-", "-"},
      {"mailto:x", "-", "-", "-", "-", "-"},
      {"", "-", "-", "-", "-", "-"},
  };
  for (const Forms& row : rows) {
    SCOPED_TRACE(row.address);
    const ListedSite site{row.address, ""};
    EXPECT_EQ(siteLine(site, ListForm::Domains).value_or("-"), row.domains);
    EXPECT_EQ(siteLine(site, ListForm::Squid).value_or("-"), row.squid);
    EXPECT_EQ(siteLine(site, ListForm::Hosts).value_or("-"), row.hosts);
    EXPECT_EQ(siteLine(site, ListForm::SquidGuard).value_or("-"), row.squidguard);
    EXPECT_EQ(siteLine(site, ListForm::Urls).value_or("-"), row.urls);
    EXPECT_EQ(siteLine(site, ListForm::Auto).value_or("-"), row.urls);
  }
  EXPECT_EQ(siteLine({"http://a.example", "A\nB"}, ListForm::Urls), "http://a.example\tA B");
  EXPECT_EQ(siteLine({"http://a.example", "A"}, ListForm::SquidGuard), "a.example");
}

TEST(SiteLine, FormsHaveNames) {
  EXPECT_EQ(listFormNamed("auto"), ListForm::Auto);
  EXPECT_EQ(listFormNamed("domains"), ListForm::Domains);
  EXPECT_EQ(listFormNamed("hosts"), ListForm::Hosts);
  EXPECT_EQ(listFormNamed("squid"), ListForm::Squid);
  EXPECT_EQ(listFormNamed("squidguard"), ListForm::SquidGuard);
  EXPECT_EQ(listFormNamed("urls"), ListForm::Urls);
  EXPECT_EQ(listFormNamed("Urls"), std::nullopt);
}

TEST(HostOfAddress, IsLowerCasedAndOfWebAddressesOnly) {
  EXPECT_EQ(hostOfAddress("HTTP://Example.COM/"), "example.com");
  EXPECT_EQ(hostOfAddress("https://[::1]:80/"), "[::1]");
  EXPECT_EQ(hostOfAddress("ftp://example.com/"), "");
  EXPECT_EQ(hostOfAddress("example.com"), "");
  EXPECT_EQ(hostOfAddress("http://\xff/"), "");
}

}  // namespace
}  // namespace sifterra::tools
