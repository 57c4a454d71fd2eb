// PolicyCommandTest: `sifterra policy` by exact output, and what it leaves on the disk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/policy_fixture.h"

namespace sifterra::tools {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::ordered_json;

class PolicyCommand : public testing::Test {
 protected:
  [[nodiscard]] CommandRun policy(std::vector<std::string> arguments, std::string_view input = {}) const {
    return root_.policy(std::move(arguments), input);
  }
  // The same, which must go well; its output.
  std::string done(std::vector<std::string> arguments, std::string_view input = {}) const {
    const CommandRun run = policy(std::move(arguments), input);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    return run.out;
  }
  [[nodiscard]] Json shown(const std::string& user) const {
    return Json::parse(policy({"show", "--json", user}).out);
  }
  // The names of what lies beside the user's file.
  [[nodiscard]] std::vector<std::string> neighboursOf(const std::string& user) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(root_.pathOf(user)).parent_path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  const PolicyRoot root_;
};

constexpr const char* kFile = "com.vendrel.hearthguard.contentfilter.plist";

TEST_F(PolicyCommand, SetMakesTheFileAndTellsWhatItTurned) {
  EXPECT_EQ(done({"set", "ann", "--filter", "on", "--overrides", "off"}),
            "content filter: on\noverrides: off\nrestrictions: on (needed by the mode)\n");
  EXPECT_EQ(done({"set", "ann", "--filter", "on"}), "content filter: on (as before)\n");
  EXPECT_THAT(root_.contentsOf("ann"), HasSubstr("<key>useContentFilter</key>\n\t<true/>"));
  EXPECT_THAT(root_.contentsOf("ann"), HasSubstr("<key>restrictWeb</key>\n\t<true/>"));
  EXPECT_THAT(root_.contentsOf("ann"), HasSubstr("<key>noOverriddingAllowed</key>\n\t<true/>"));
  struct stat status {};
  ASSERT_EQ(stat(root_.pathOf("ann").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  EXPECT_THAT(neighboursOf("ann"), testing::ElementsAre("." + std::string(kFile) + ".lock", kFile));
}

TEST_F(PolicyCommand, SetLeavesRestrictionsAloneWhenToldTo) {
  EXPECT_EQ(done({"set", "ann", "--allow-list-only", "on", "--restrict", "off"}),
            "restrictions: off (as before)\nallow-list only: on\n");
  EXPECT_EQ(shown("ann")["restrict"], false);
  EXPECT_EQ(done({"set", "ann", "--filter", "off"}), "content filter: off (as before)\n");
  EXPECT_EQ(shown("ann")["restrict"], false);
}

TEST_F(PolicyCommand, ShowTellsPeopleHowThingsStand) {
  done({"set", "ann", "--filter", "on", "--always-https", "off"});
  done({"add", "ann", "deny", "games.example", "http://video.example/channel"});
  done({"add", "ann", "sites", "library.example", "--title", "The library"});
  EXPECT_EQ(done({"show", "ann"}),
            "user             ann\n"
            "file             " +
                root_.pathOf("ann") +
                " (XML)\n"
                "restrictions     on\n"
                "content filter   on\n"
                "allow-list only  off\n"
                "always https     off\n"
                "overrides        on\n"
                "\n0 sites always allowed while the content filter is on (allow)\n"
                "\n2 sites never allowed while the content filter is on (deny)\n"
                "  http://games.example\n  http://video.example/channel\n"
                "\n1 site allowed in allow-list-only mode (sites)\n"
                "  http://library.example  The library\n");
}

TEST_F(PolicyCommand, ShowTellsWhatSwitchesDoNotSay) {
  root_.write("a", plistOf("<key>useContentFilter</key><true/><key>x</key><integer>1</integer>"));
  EXPECT_THAT(done({"show", "a"}),
              HasSubstr("other keys       x\n\nRestrictions are off: https pages always pass"));
  done({"set", "b", "--filter", "on", "--allow-list-only", "on"});
  EXPECT_THAT(done({"show", "b"}), HasSubstr("\nBoth modes are on: allow-list-only mode decides"));
  done({"set", "c", "--restrict", "on"});
  EXPECT_THAT(done({"show", "c"}), HasSubstr("\nNeither mode is on: nothing is restricted.\n"));
  const std::string absent = done({"show", "nobody"});
  EXPECT_EQ(absent, "user             nobody\nfile             " + root_.pathOf("nobody") +
                        " (absent)\n\nThere is no such file: the user is not restricted.\n");
}

TEST_F(PolicyCommand, ShowListsTenSitesAndCountsTheRest) {
  std::string list;
  for (int i = 0; i < 12; ++i) list += "site" + std::to_string(i) + ".example\n";
  done({"import", "ann", "deny", "-"}, list);
  const std::string text = done({"show", "ann"});
  EXPECT_THAT(text, HasSubstr("  http://site9.example\n  and 2 more (\"policy export\" lists them all)\n"));
  EXPECT_THAT(text, Not(HasSubstr("site10")));
}

TEST_F(PolicyCommand, ShowAsJsonHasEverything) {
  root_.write(
      "ann",
      plistOf(
          "<key>restrictWeb</key><true/><key>useContentFilter</key><string>Yes</string>"
          "<key>filterBlacklist</key><array><string>http://g.example</string><integer>3</integer></array>"
          "<key>siteWhitelist</key><array><dict><key>address</key><string>http://l.example</string></dict>"
          "</array><key>filterWhitelist</key><string>none</string><key>other</key><real>1.5</real>"));
  EXPECT_EQ(
      done({"show", "--json", "ann"}),
      "{\"user\":\"ann\",\"path\":\"" + root_.pathOf("ann") +
          "\",\"state\":\"read\",\"problem\":null,\"format\":\"XML\",\"restrict\":true,\"filter\":true,"
          "\"allow-list-only\":null,\"always-https\":null,\"overrides\":null,\"allow\":null,"
          "\"deny\":[\"http://g.example\"],\"sites\":[{\"address\":\"http://l.example\",\"title\":null}],"
          "\"otherKeys\":[\"other\"]}\n");
  EXPECT_EQ(shown("nobody")["state"], "absent");
  EXPECT_EQ(shown("nobody")["format"], nullptr);
}

TEST_F(PolicyCommand, KeepsKeysThatItDoesNotKnow) {
  root_.write(
      "ann",
      plistOf("<key>zebra</key><dict><key>a</key><data>AAEC</data><key>b</key><date>2001-01-02T03:04:05Z"
              "</date></dict><key>useContentFilter</key><true/><key>apple</key><integer>-7</integer>"));
  done({"set", "ann", "--always-https", "on"});
  const std::string xml = root_.contentsOf("ann");
  for (const char* part :
       {"<key>zebra</key>", "AAEC", "2001-01-02T03:04:05Z", "<integer>-7</integer>", "<key>apple</key>"}) {
    EXPECT_THAT(xml, HasSubstr(part));
  }
  EXPECT_LT(xml.find("<key>zebra"), xml.find("<key>apple"));
  EXPECT_EQ(shown("ann")["otherKeys"].dump(), R"(["zebra","apple"])");
}

TEST_F(PolicyCommand, KeepsEntriesThatItDoesNotKnow) {
  root_.write(
      "ann",
      plistOf("<key>siteWhitelist</key><array><integer>5</integer><dict><key>address</key>"
              "<string>http://a.example</string><key>icon</key><string>i.png</string></dict></array>"));
  done({"add", "ann", "sites", "http://a.example", "--title", "A"});
  done({"add", "ann", "sites", "http://b.example"});
  done({"remove", "ann", "sites", "http://b.example"});
  const std::string xml = root_.contentsOf("ann");
  EXPECT_THAT(xml, HasSubstr("<integer>5</integer>"));
  EXPECT_THAT(xml, HasSubstr("i.png"));
  EXPECT_EQ(shown("ann")["sites"].dump(), R"([{"address":"http://a.example","title":"A"}])");
}

TEST_F(PolicyCommand, KeepsFormModeAndLinks) {
  // The binary form of {"useContentFilter": true}.
  const std::string binary(
      "bplist00\xd1\x01\x02\x5f\x10\x10useContentFilter\x09\x08\x0b\x1e\0\0\0\0\0\0\x01\x01\0\0\0\0"
      "\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x1f",
      8 + 3 + 19 + 1 + 3 + 32);
  root_.write("ann", binary);
  chmod(root_.pathOf("ann").c_str(), 0640);
  ASSERT_EQ(shown("ann")["format"], "binary") << policy({"show", "ann"}).err;
  done({"set", "ann", "--always-https", "on"});
  EXPECT_EQ(root_.contentsOf("ann").substr(0, 8), "bplist00");
  EXPECT_EQ(shown("ann")["filter"], true);
  struct stat status {};
  ASSERT_EQ(stat(root_.pathOf("ann").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);

  fs::create_directories(fs::path(root_.pathOf("ben")).parent_path());
  fs::create_symlink(root_.pathOf("ann"), root_.pathOf("ben"));
  done({"set", "ben", "--overrides", "off"});
  EXPECT_TRUE(fs::is_symlink(root_.pathOf("ben")));
  EXPECT_EQ(shown("ann")["overrides"], false);
}

TEST_F(PolicyCommand, AddAndRemoveTellWhatTheListHolds) {
  EXPECT_EQ(done({"add", "ann", "allow", "Example.com", "https://b.example/x", "example.com"}),
            "2 sites added to \"allow\", which holds 2 sites\n");
  EXPECT_EQ(done({"add", "ann", "allow", "example.com"}),
            "0 sites added to \"allow\", which holds 2 sites\n");
  EXPECT_EQ(done({"remove", "ann", "allow", "EXAMPLE.com"}),
            "1 site removed from \"allow\", which holds 1 site\n");
  const CommandRun missing = policy({"remove", "ann", "allow", "no.example", "https://b.example/x"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.out, "1 site removed from \"allow\", which holds 0 sites\n");
  EXPECT_EQ(missing.err, "sifterra: \"allow\" does not hold no.example\n");
}

TEST_F(PolicyCommand, ASiteWithoutTitleHasItsAddressForOne) {
  done({"add", "ann", "sites", "a.example"});
  EXPECT_EQ(shown("ann")["sites"].dump(), R"([{"address":"http://a.example","title":"http://a.example"}])");
  done({"add", "ann", "sites", "a.example", "--title", "A"});
  done({"add", "ann", "sites", "a.example"});  // the title stays
  EXPECT_EQ(shown("ann")["sites"].dump(), R"([{"address":"http://a.example","title":"A"}])");
}

TEST_F(PolicyCommand, WhatChangesNothingWritesNothing) {
  EXPECT_EQ(policy({"remove", "ann", "deny", "a.example"}).status, 2);
  EXPECT_FALSE(fs::exists(root_.pathOf("ann")));
  done({"add", "ann", "deny", "a.example"});
  const auto date = fs::last_write_time(root_.pathOf("ann"));
  done({"add", "ann", "deny", "a.example"});
  EXPECT_EQ(fs::last_write_time(root_.pathOf("ann")), date);
}

TEST_F(PolicyCommand, BadAddressesAreNotAdded) {
  const CommandRun run = policy({"add", "ann", "deny", "good.example", "b@d", "ftp://x.example"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "sifterra: \"b@d\" names a user, which is not compared\n"
            "sifterra: \"ftp://x.example\" is no http or https address\n");
  EXPECT_FALSE(fs::exists(root_.pathOf("ann")));
  EXPECT_EQ(policy({"add", "ann", "deny", "a.example", "--title", "A"}).err,
            "sifterra: --title goes with one address of the list \"sites\"\n");
}

TEST_F(PolicyCommand, NeverOverwritesABrokenFileUnlessTold) {
  const std::string junk = "<plist><dict><key>useContentFilter</key>";
  const std::string path = root_.write("ann", junk);
  const std::vector<std::vector<std::string>> changes = {{"set", "ann", "--filter", "on"},
                                                         {"add", "ann", "deny", "a.example"},
                                                         {"remove", "ann", "deny", "a.example"},
                                                         {"import", "ann", "deny", "/dev/null"}};
  for (const std::vector<std::string>& change : changes) {
    SCOPED_TRACE(change.front());
    const CommandRun run = policy(change);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("sifterra: " + path + ": "));
    EXPECT_THAT(run.err, testing::EndsWith("; nothing was changed\n"));
    EXPECT_EQ(root_.contentsOf("ann"), junk);
  }
  for (const std::vector<std::string>& question : {std::vector<std::string>{"show", "ann"},
                                                   {"export", "ann", "deny"},
                                                   {"check", "ann", "http://a.example/"}}) {
    SCOPED_TRACE(question.front());
    const CommandRun run = policy(question);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("sifterra: " + path + ": "));
  }
  const CommandRun json = policy({"show", "--json", "ann"});
  EXPECT_EQ(json.status, 2);
  EXPECT_EQ(Json::parse(json.out)["state"], "broken");
  EXPECT_TRUE(Json::parse(json.out)["problem"].is_string());

  const CommandRun told = policy({"set", "ann", "--filter", "on", "--replace-broken"});
  EXPECT_EQ(told.status, 0);
  EXPECT_THAT(told.err, testing::EndsWith("; beginning anew\n"));
  EXPECT_EQ(shown("ann")["filter"], true);
}

TEST_F(PolicyCommand, AListOfAnotherKindIsLeftAlone) {
  const std::string plist = plistOf("<key>filterBlacklist</key><string>x</string>");
  const std::string path = root_.write("ann", plist);
  for (const std::vector<std::string>& change : {std::vector<std::string>{"add", "ann", "deny", "a.example"},
                                                 {"remove", "ann", "deny", "a.example"},
                                                 {"export", "ann", "deny"},
                                                 {"import", "--replace", "ann", "deny", "/dev/null"}}) {
    SCOPED_TRACE(change.front());
    const CommandRun run = policy(change);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "sifterra: " + path + ": what it holds for the list \"deny\" is no list\n");
    EXPECT_EQ(root_.contentsOf("ann"), plist);
  }
  EXPECT_THAT(done({"show", "ann"}),
              HasSubstr("\nThe value of the list \"deny\" is no list, and is not used.\n"));
}

TEST_F(PolicyCommand, NamesThatMakeNoPathAreRefused) {
  for (const std::string& user : {std::string("../ann"), std::string(".."), std::string("."), std::string(""),
                                  std::string(10000, 'x')}) {
    SCOPED_TRACE(user.substr(0, 10));
    const CommandRun run = policy({"set", user, "--filter", "on"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("the user's name makes no path"));
    EXPECT_EQ(policy({"show", user}).status, 2);
  }
  EXPECT_FALSE(fs::exists(root_.folder().at("Library")));
}

TEST_F(PolicyCommand, ThingsThatAreNoFileAreBroken) {
  fs::create_directories(root_.pathOf("dir"));
  EXPECT_THAT(policy({"set", "dir", "--filter", "on"}).err,
              HasSubstr("it is a directory; nothing was changed"));
  fs::create_directories(fs::path(root_.pathOf("link")).parent_path());
  fs::create_symlink(root_.folder().at("nowhere"), root_.pathOf("link"));
  const CommandRun link = policy({"set", "link", "--filter", "on"});
  EXPECT_EQ(link.status, 2);
  EXPECT_THAT(link.err, HasSubstr("nothing was changed"));
  EXPECT_FALSE(fs::exists(root_.folder().at("nowhere")));
}

TEST_F(PolicyCommand, RemovesWhatAnInterruptedWriterLeft) {
  const std::string name = PolicyRoot::nameOf("ann");
  root_.folder().write(fs::path(name).parent_path().string() + "/." + kFile + ".abc123.new", "half");
  done({"set", "ann", "--filter", "on"});
  EXPECT_THAT(neighboursOf("ann"), testing::ElementsAre("." + std::string(kFile) + ".lock", kFile));
}

TEST_F(PolicyCommand, TwoWritersAtOnceLoseNothing) {
  const CommandRun run = runShell("for w in a b c d; do (for i in 1 2 3 4 5 6 7 8; do $SIFTERRA --root '" +
                                  root_.folder().path() +
                                  "' policy add ann deny $w$i.example >/dev/null || echo bad; "
                                  "done) & done; wait");
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(shown("ann")["deny"].size(), 32u);
}

TEST_F(PolicyCommand, AFileThatCannotBeWrittenStaysAsItIs) {
  done({"add", "ann", "deny", "a.example"});
  const std::string before = root_.contentsOf("ann");
  // No file may grow beyond a kilobyte: the new version does not fit.
  const CommandRun run =
      runShell("trap '' XFSZ; ulimit -f 1; seq 1 500 | sed 's/$/.example/;s/^/n/' | $SIFTERRA --root '" +
               root_.folder().path() + "' policy import ann deny -");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("; nothing was changed\n"));
  EXPECT_EQ(root_.contentsOf("ann"), before);
  EXPECT_THAT(neighboursOf("ann"), testing::ElementsAre("." + std::string(kFile) + ".lock", kFile));
}

}  // namespace
}  // namespace sifterra::tools
