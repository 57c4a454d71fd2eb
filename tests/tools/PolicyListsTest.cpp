// PolicyListsTest: `sifterra policy import`, `export` and `check`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/policy_fixture.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using Json = nlohmann::ordered_json;

class PolicyLists : public testing::Test {
 protected:
  [[nodiscard]] CommandRun policy(std::vector<std::string> arguments, std::string_view input = {}) const {
    return root_.policy(std::move(arguments), input);
  }
  std::string done(std::vector<std::string> arguments, std::string_view input = {}) const {
    const CommandRun run = policy(std::move(arguments), input);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    return run.out;
  }
  // The line that "policy check" prints, and its exit status.
  [[nodiscard]] std::string checked(const std::string& user, const std::string& url) const {
    const CommandRun run = policy({"check", user, url});
    EXPECT_EQ(run.err, "");
    return std::to_string(run.status) + " " + run.out;
  }

  const PolicyRoot root_;
};

TEST_F(PolicyLists, ImportTakesEveryFormAtOnce) {
  const TemporaryFolder& folder = root_.folder();
  const std::string hosts = folder.write("hosts", "127.0.0.1 localhost\n0.0.0.0 ads.example track.example\n");
  const std::string domains = folder.write("bl/domains", "# a comment\ngames.example\n.all.example\n");
  const std::string urls = folder.write("bl/urls", "video.example/channel\n");
  const std::string packed = folder.write("more.gz", gzipped("packed.example\ngames.example\n"));
  EXPECT_EQ(done({"import", "ann", "deny", hosts, domains, urls, packed}),
            "7 sites read, 6 added to \"deny\", which holds 6 sites\n");
  EXPECT_EQ(done({"export", "ann", "deny"}),
            "http://ads.example\nhttp://track.example\nhttp://games.example\nhttp://all.example\n"
            "http://video.example/channel\nhttp://packed.example\n");
}

TEST_F(PolicyLists, ImportTellsEachBadLineByNumberAndLosesNoOther) {
  const std::string list = root_.folder().write("l", "a.example\nb example\n\n||c.example^\nd.example\n");
  const CommandRun run = policy({"import", "ann", "deny", list});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "2 sites read, 2 added to \"deny\", which holds 2 sites\n");
  EXPECT_EQ(run.err, "sifterra: " + list + ":2: \"b example\" holds more than one word\nsifterra: " + list +
                         ":4: \"||c.example^\" is no domain\n");
  EXPECT_EQ(done({"export", "ann", "deny"}), "http://a.example\nhttp://d.example\n");
}

TEST_F(PolicyLists, ImportTellsTwentyBadLinesAndCountsTheRest) {
  std::string list = "good.example\n";
  for (int i = 0; i < 25; ++i) list += "not good\n";
  const CommandRun run = policy({"import", "ann", "deny", "-"}, list);
  EXPECT_EQ(run.status, 2);
  const std::vector<std::string> lines = linesOf(run.err);
  ASSERT_EQ(lines.size(), 21u);
  EXPECT_EQ(lines[0], "sifterra: standard input:2: \"not good\" holds more than one word");
  EXPECT_EQ(lines[20], "sifterra: standard input: and 5 more bad lines");
}

TEST_F(PolicyLists, ImportOfNothingGoodChangesNothing) {
  const CommandRun bad = policy({"import", "--replace", "ann", "deny", "-"}, "not good\n");
  EXPECT_EQ(bad.status, 2);
  EXPECT_THAT(bad.err, testing::EndsWith("no site was read; nothing was changed\n"));
  const CommandRun missing = policy({"import", "ann", "deny", root_.folder().at("none")});
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("none: "));
  EXPECT_EQ(Json::parse(policy({"show", "--json", "ann"}).out)["state"], "absent");
}

TEST_F(PolicyLists, ImportKeepsTheOtherListsOfAFileThatIsMissing) {
  const std::string good = root_.folder().write("good", "a.example\n");
  const CommandRun run = policy({"import", "ann", "deny", root_.folder().at("none"), good});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(done({"export", "ann", "deny"}), "http://a.example\n");
}

TEST_F(PolicyLists, ImportCanReplace) {
  done({"add", "ann", "deny", "old.example"});
  EXPECT_EQ(done({"import", "--replace", "ann", "deny", "-"}, "new.example\n"),
            "1 site read, 1 added to \"deny\", which holds 1 site\n");
  EXPECT_EQ(done({"export", "ann", "deny"}), "http://new.example\n");
}

TEST_F(PolicyLists, ImportKeepsToTheFormThatIsGiven) {
  const CommandRun run =
      policy({"import", "ann", "deny", "--format", "hosts", "-"}, "a.example\n0.0.0.0 b.example\n");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "sifterra: standard input:1: \"a.example\" is no line of a hosts file\n");
  EXPECT_EQ(done({"export", "ann", "deny"}), "http://b.example\n");
}

TEST_F(PolicyLists, TitlesGoThroughListsOfSites) {
  const std::string list = "http://a.example\tThe \xc3\xa4 page\nhttp://b.example\n";
  done({"import", "ann", "sites", "-"}, list);
  EXPECT_EQ(done({"export", "ann", "sites"}), list);
}

TEST_F(PolicyLists, ExportWritesEveryForm) {
  done({"add", "ann", "deny", "a.example", "https://b.example/x?y", "http://192.0.2.1", "c.a.example"});
  EXPECT_EQ(done({"export", "ann", "deny"}),
            "http://a.example\nhttps://b.example/x?y\nhttp://192.0.2.1\nhttp://c.a.example\n");
  EXPECT_EQ(done({"export", "ann", "deny", "--format", "squidguard"}),
            "a.example\nb.example/x?y\n192.0.2.1\nc.a.example\n");
  const CommandRun domains = policy({"export", "ann", "deny", "--format", "domains"});
  EXPECT_EQ(domains.status, 2);
  EXPECT_EQ(domains.out, "a.example\n192.0.2.1\nc.a.example\n");
  EXPECT_EQ(domains.err, "sifterra: 1 site cannot be told in this form; \"--format urls\" tells most\n");
  EXPECT_EQ(policy({"export", "ann", "deny", "--format", "squid"}).out,
            ".a.example\n192.0.2.1\n.c.a.example\n");
  EXPECT_EQ(policy({"export", "ann", "deny", "--format", "hosts"}).out,
            "0.0.0.0 a.example\n0.0.0.0 c.a.example\n");
}

TEST_F(PolicyLists, ExportWritesAFile) {
  done({"add", "ann", "deny", "a.example"});
  const std::string path = root_.folder().at("out");
  EXPECT_EQ(done({"export", "ann", "deny", "-o", path}), "");
  EXPECT_EQ(runShell("cat " + path).out, "http://a.example\n");
  const CommandRun run = policy({"export", "ann", "deny", "-o", root_.folder().at("no/such/out")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("no/such/out: cannot be written"));
}

TEST_F(PolicyLists, ExportOfAnAbsentListIsEmpty) {
  EXPECT_EQ(done({"export", "nobody", "allow"}), "");
}

TEST_F(PolicyLists, AHundredThousandLinesGoThroughUnchanged) {
  std::string list;
  for (int i = 0; i < 100000; ++i) list += "http://site-" + std::to_string(i) + ".example\n";
  EXPECT_EQ(done({"import", "ann", "deny", "-"}, list),
            "100000 sites read, 100000 added to \"deny\", which holds 100000 sites\n");
  EXPECT_EQ(done({"export", "ann", "deny"}), list);
  const CommandRun more = policy({"import", "ann", "deny", "-"}, "one.more.example\n");
  EXPECT_EQ(more.status, 0);
  EXPECT_EQ(more.err, "sifterra: only the last 100000 sites of a list are used\n");
}

TEST_F(PolicyLists, CheckTellsWhichListDecides) {
  done({"set", "ann", "--filter", "on"});
  done({"add", "ann", "deny", "games.example", "both.example"});
  done({"add", "ann", "allow", "http://both.example/good"});
  EXPECT_EQ(checked("ann", "http://www.games.example/chess"),
            "1 refused\tURL is on filter black list\tdeny\thttp://games.example\n");
  EXPECT_EQ(checked("ann", "http://both.example/good/page"),
            "0 allowed\tURL is on filter white list\tallow\thttp://both.example/good\n");
  EXPECT_EQ(checked("ann", "http://both.example/other"),
            "1 refused\tURL is on filter black list\tdeny\thttp://both.example\n");
  EXPECT_EQ(checked("ann", "https://games.example/"),
            "1 refused\tURL is on filter black list\tdeny\thttp://games.example\n");
  EXPECT_EQ(checked("ann", "http://other.example/"),
            "0 judged\tURL is on no list, the page's content decides\n");
  done({"set", "ann", "--always-https", "on"});
  EXPECT_EQ(checked("ann", "https://games.example/"), "0 allowed\tAlways allow HTTPS\n");
  // Kept: the prefix is compared with case.
  EXPECT_EQ(checked("ann", "HTTPS://games.example/").substr(0, 9), "1 refused");
}

TEST_F(PolicyLists, CheckKnowsTheModes) {
  EXPECT_EQ(checked("nobody", "http://a.example/"), "0 allowed\tnobody has no web restrictions\n");
  done({"set", "ben", "--allow-list-only", "on"});
  done({"add", "ben", "sites", "library.example"});
  EXPECT_EQ(checked("ben", "http://library.example/"),
            "0 allowed\tURL is on global white list\tsites\thttp://library.example\n");
  EXPECT_EQ(checked("ben", "https://games.example/"), "1 refused\tURL is not on global white list\n");
}

TEST_F(PolicyLists, CheckAsJsonHasEverything) {
  done({"set", "ann", "--filter", "on"});
  done({"add", "ann", "deny", "games.example"});
  EXPECT_EQ(
      policy({"check", "--json", "ann", "http://games.example/"}).out,
      "{\"user\":\"ann\",\"url\":\"http://games.example/\",\"decision\":\"refused\",\"evidence\":8,"
      "\"reason\":\"URL is on filter black list\",\"list\":\"deny\",\"entry\":\"http://games.example\"}\n");
  EXPECT_EQ(policy({"check", "--json", "ann", "http://a.example/"}).out,
            "{\"user\":\"ann\",\"url\":\"http://a.example/\",\"decision\":\"judged\",\"evidence\":9,"
            "\"reason\":\"URL is on no list, the page's content decides\",\"list\":null,\"entry\":null}\n");
}

TEST_F(PolicyLists, CheckTakesWebAddressesOnly) {
  for (const char* url : {"games.example", "ftp://games.example/", "", "mailto:a@b.example"}) {
    const CommandRun run = policy({"check", "ann", url});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "sifterra: \"" + std::string(url) + "\" is no http or https address\n");
  }
}

}  // namespace
}  // namespace sifterra::tools
