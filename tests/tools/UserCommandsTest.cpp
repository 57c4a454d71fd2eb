// UserCommandsTest: pages judged for a user, and what stands in their place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "lsm/TinyMap.h"
#include "tools/policy_fixture.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::ordered_json;

constexpr const char* kHarmless =
    "<title>Our garden</title><p>weather school garden recipe library football science history teacher "
    "homework";
constexpr const char* kAdult =
    "<title>Videos</title><p>xxx porn nude erotic escort webcam sexy videos hardcore adult, and more of the "
    "same";

class UserCommands : public testing::Test {
 protected:
  UserCommands() {
    root_.folder().write("etc/default/locale", "LANG=en_US.UTF-8\n");
    EXPECT_EQ(root_.policy({"set", "ann", "--restrict", "off"}).status, 0);
    EXPECT_EQ(root_.policy({"set", "ben", "--filter", "on"}).status, 0);
    EXPECT_EQ(root_.policy({"add", "ben", "deny", "games.example"}).status, 0);
    EXPECT_EQ(root_.policy({"add", "ben", "allow", "good.example"}).status, 0);
    EXPECT_EQ(root_.policy({"set", "cem", "--allow-list-only", "on"}).status, 0);
    EXPECT_EQ(root_.policy({"add", "cem", "sites", "library.example", "--title", "The <library>"}).status, 0);
  }
  // The judgement of a page for a user, by the tiny map; with its exit status as "status".
  [[nodiscard]] Json judged(const std::string& user, const std::string& url, const char* page) const {
    const CommandRun run =
        root_.command({"check", "--map", map_.path(), "--json", "--user", user, "--url", url, "-"}, page);
    EXPECT_EQ(run.err, "");
    Json judgement = Json::parse(run.out);
    judgement["status"] = run.status;
    return judgement;
  }
  [[nodiscard]] CommandRun blockPage(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"blockpage", "--url", "http://games.example/?a=1&b=<x>"});
    return root_.command(std::move(arguments));
  }

  const PolicyRoot root_;
  const lsm::TinyMapFile map_;
};

TEST_F(UserCommands, CheckJudgesByListsSwitchesAndContent) {
  struct Row {
    const char* user;
    const char* url;
    const char* page;
    int restricted;
    int evidence;
    const char* message;  // "" when the score line stands there
  };
  const Row rows[] = {
      {"ann", "http://any.example/", kAdult, 0, 9, "ann has no web restrictions"},
      {"ann", "https://any.example/", kAdult, 0, 10, "Always allow HTTPS"},
      {"ben", "http://any.example/", kAdult, 1, 0, ""},
      {"ben", "https://any.example/", kAdult, 1, 0, ""},
      {"ben", "http://any.example/", kHarmless, 0, 0, ""},
      {"ben", "http://good.example/", kAdult, 0, 8, "URL is on filter white list"},
      {"ben", "http://games.example/", kHarmless, 1, 8, "URL is on filter black list"},
      {"cem", "http://any.example/", kHarmless, 1, 9, "URL is not on global white list"},
      {"cem", "https://any.example/", kHarmless, 1, 9, "URL is not on global white list"},
      {"cem", "http://library.example/", kAdult, 0, 8, "URL is on global white list"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.user) + " " + row.url);
    const Json judgement = judged(row.user, row.url, row.page);
    EXPECT_EQ(judgement["restricted"], row.restricted == 1);
    EXPECT_EQ(judgement["status"], row.restricted);
    EXPECT_EQ(judgement["evidence"], row.evidence);
    if (*row.message != '\0') {
      EXPECT_EQ(judgement["message"], row.message);
    }
    EXPECT_EQ(judgement["scores"].empty(), row.evidence != 0);
    EXPECT_TRUE(judgement["title"].is_string());
  }
  EXPECT_EQ(root_.policy({"set", "ben", "--always-https", "on"}).status, 0);
  const Json secure = judged("ben", "https://games.example/", kAdult);
  EXPECT_EQ(secure["evidence"], 10);
  EXPECT_EQ(secure["message"], "Always allow HTTPS");
}

TEST_F(UserCommands, CheckLetsAUserWithoutAFileReadEverything) {
  for (const char* url : {"http://any.example/", "https://any.example/"}) {
    const CommandRun run = root_.command(
        {"check", "--map", map_.path(), "--json", "--user", "nobody", "--url", url, "-"}, kAdult);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(Json::parse(run.out)["message"], "nobody has no web restrictions");
    EXPECT_EQ(Json::parse(run.out)["evidence"], 9);
  }
}

TEST_F(UserCommands, CheckPrintsTheSameTableForAUser) {
  const CommandRun run = root_.command(
      {"check", "--map", map_.path(), "--user", "ben", "--url", "http://games.example/", "-"}, kHarmless);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out,
            "RESTRICTED\t8\tURL is on filter black list\tOur garden\t-\n"
            "\n1 page: 1 restricted, 0 allowed, 0 errors (evidence 8: 1)\n");
}

TEST_F(UserCommands, CheckRefusesBrokenFilesAndNamesThatMakeNoPath) {
  root_.write("dan", "junk");
  const CommandRun broken = root_.command({"check", "--user", "dan", "-"}, kAdult);
  EXPECT_EQ(broken.status, 2);
  EXPECT_EQ(broken.out, "");
  EXPECT_THAT(broken.err, HasSubstr("sifterra: the preference file of \"dan\" is broken: "));
  const CommandRun nameless = root_.command({"check", "--user", "../dan", "-"}, kAdult);
  EXPECT_EQ(nameless.status, 2);
  EXPECT_THAT(nameless.err, HasSubstr("sifterra: \"../dan\": the user's name makes no path"));
}

TEST_F(UserCommands, BlockPageFollowsThePolicyOfTheUser) {
  const CommandRun filtered = blockPage({"--user", "ben", "--title", "Games"});
  EXPECT_EQ(filtered.status, 0);
  EXPECT_EQ(filtered.err, "");
  EXPECT_THAT(filtered.out, HasSubstr("http://games.example/?a=1&amp;b=&lt;x&gt;"));
  EXPECT_THAT(filtered.out, HasSubstr("http://127.0.0.1:10011/webcontentfilter.override.local"));
  EXPECT_THAT(filtered.out, HasSubstr("aHR0cDovL2dhbWVzLmV4YW1wbGUvP2E9MSZiPTx4Pg=="));  // the address
  EXPECT_THAT(filtered.out, HasSubstr("R2FtZXM="));                                      // the title
  EXPECT_THAT(filtered.out, Not(HasSubstr("_NO_LOC")));

  const CommandRun listed = blockPage({"--user", "cem"});
  EXPECT_EQ(listed.status, 0);
  EXPECT_THAT(listed.out, HasSubstr("<a href=\"http://library.example\">The &lt;library&gt;</a>"));

  EXPECT_EQ(root_.policy({"set", "ben", "--overrides", "off"}).status, 0);
  const CommandRun final = blockPage({"--user", "ben"});
  EXPECT_EQ(final.status, 0);
  EXPECT_THAT(final.out, Not(HasSubstr("webcontentfilter.override.local")));
}

TEST_F(UserCommands, BlockPageComesInEveryKind) {
  std::vector<std::string> pages;
  for (const char* kind :
       {"blockpage", "blockpage-net", "blockpage-wl", "blockpage-net-wl", "blockpage-nooverride", "error"}) {
    SCOPED_TRACE(kind);
    const CommandRun run = blockPage({"--user", "cem", "--language", "en", "--kind", kind});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("<html"));
    EXPECT_THAT(run.out, Not(HasSubstr("_NO_LOC")));
    EXPECT_THAT(pages, Not(testing::Contains(run.out)));
    pages.push_back(run.out);
  }
}

TEST_F(UserCommands, BlockPageSpeaksTheLanguageThatIsAskedFor) {
  EXPECT_THAT(blockPage({"--user", "ben"}).out, HasSubstr("lang=\"en\""));
  EXPECT_THAT(blockPage({"--user", "ben", "--language", "de-AT"}).out, HasSubstr("lang=\"de\""));
  EXPECT_THAT(blockPage({"--user", "ben", "--language", "xx,fr"}).out, HasSubstr("lang=\"fr\""));
  EXPECT_THAT(blockPage({"--user", "ben", "--language", "ar"}).out, HasSubstr("dir=\"rtl\""));
  const CommandRun none = blockPage({"--user", "ben", "--language", "qaa"});
  EXPECT_EQ(none.status, 2);
  EXPECT_EQ(none.err, "sifterra: no block page is written in qaa\n");
  root_.folder().write("var/lib/AccountsService/users/ben", "[User]\nLanguage=es_ES.UTF-8\n");
  EXPECT_THAT(blockPage({"--user", "ben"}).out, HasSubstr("lang=\"es\""));
}

TEST_F(UserCommands, BlockPageGoesToAFile) {
  const std::string path = root_.folder().at("page.html");
  const CommandRun run = blockPage({"--user", "ben", "-o", path});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(runShell("cat " + path).out, blockPage({"--user", "ben"}).out);
}

TEST(SniffCommand, TellsTypesByTheFirstBytes) {
  const TemporaryFolder folder;
  const std::string html = folder.write("a", "<HTML>x");
  const std::string png = folder.write("b", "\x89PNG\r\n\x1a\n");
  const std::string late = folder.write("c", std::string(1024, ' ') + "<html>");
  const std::string word = folder.write("d", std::string(516, '\0') + std::string("\xec\xa5\xc1\0", 4));
  const CommandRun run = runCommand({"sniff", html, png, late, word, "-"}, "%PDF-1.4");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "text/html\t" + html + "\nimage/png\t" + png + "\ntext/plain\t" + late +
                         "\napplication/msword\t" + word + "\napplication/pdf\t-\n");
}

TEST(SniffCommand, PrintsJsonAndGoesOnAfterAnError) {
  const TemporaryFolder folder;
  const std::string html = folder.write("a", "<html>");
  const std::string gif = folder.write("g", "GIF89a");
  const CommandRun run = runCommand({"sniff", "--json", folder.at("none"), html, gif});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, testing::StartsWith("sifterra: " + folder.at("none") + ": "));
  EXPECT_EQ(run.out, "{\"path\":\"" + html +
                         "\",\"type\":\"text/html\",\"isHTMLOrText\":true}\n{\"path\":\"" + gif +
                         "\",\"type\":\"image/gif\",\"isHTMLOrText\":false}\n");
}

}  // namespace
}  // namespace sifterra::tools
