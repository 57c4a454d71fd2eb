// FilterCommandTest: a page through `sifterra filter`, and `sifterra debugpage`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lsm/TinyMap.h"
#include "tools/policy_fixture.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kLabelled =
    "<title>Label</title><meta name=rating content=RTA-5042-1996-1400-1577-RTA><body><p>x";
constexpr const char* kHarmless =
    "<title>Our garden</title><p>weather school garden recipe library football science history teacher "
    "homework";

class FilterCommand : public testing::Test {
 protected:
  FilterCommand() {
    root_.folder().write("etc/default/locale", "LANG=en_US.UTF-8\n");
    EXPECT_EQ(root_.policy({"set", "ben", "--filter", "on"}).status, 0);
    EXPECT_EQ(root_.policy({"add", "ben", "deny", "games.example"}).status, 0);
    EXPECT_EQ(root_.policy({"set", "ann", "--restrict", "off"}).status, 0);
  }
  [[nodiscard]] CommandRun filter(const std::string& user, const std::string& url,
                                  std::string_view body) const {
    return root_.command({"filter", "--user", user, "--url", url}, body);
  }

  const PolicyRoot root_;
};

TEST_F(FilterCommand, PassesOnWhatIsAllowed) {
  const CommandRun run = filter("ben", "http://garden.example/", kHarmless);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, kHarmless);
  EXPECT_EQ(run.err, "");
}

TEST_F(FilterCommand, PutsABlockPageInThePlaceOfWhatIsRefused) {
  for (const auto& [url, body] :
       {std::pair("http://games.example/", kHarmless), {"http://any.example/", kLabelled}}) {
    SCOPED_TRACE(url);
    const CommandRun run = filter("ben", url, body);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, testing::StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(run.out, HasSubstr(url));
    EXPECT_THAT(run.out, Not(HasSubstr("football")));
    EXPECT_EQ(run.err, "");
  }
}

TEST_F(FilterCommand, PassesEverythingOnToWhoIsNotRestricted) {
  EXPECT_EQ(filter("ann", "http://any.example/", kLabelled).out, kLabelled);
  EXPECT_EQ(filter("nobody", "http://any.example/", kLabelled).status, 0);
}

TEST_F(FilterCommand, JudgesTheFirst32768BytesAndPassesAllOn) {
  const std::string long_ = kHarmless + std::string(300'000, ' ') + kLabelled;
  const CommandRun run = filter("ben", "http://garden.example/", long_);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, long_);
  const std::string refused = kLabelled + std::string(300'000, ' ');
  EXPECT_EQ(filter("ben", "http://garden.example/", refused).status, 1);
  EXPECT_EQ(filter("ben", "http://garden.example/", refused).out,
            filter("ben", "http://garden.example/", kLabelled).out);
}

TEST_F(FilterCommand, DoesNotDependOnHowThePageArrives) {
  const std::string page = root_.folder().write("page", kHarmless + std::string(40'000, 'x'));
  const std::string command = "$SIFTERRA --root '" + root_.folder().path() + "' filter --user ben --url ";
  const CommandRun run =
      runShell("dd bs=777 status=none if=" + page + " | " + command + "http://a.example/ | cmp - " + page +
               "; dd bs=777 status=none if=" + page + " | " + command +
               "http://games.example/ > /dev/null; echo \"${PIPESTATUS[@]}\"");
  EXPECT_EQ(run.out, "0 1\n");
  EXPECT_EQ(run.err, "");
}

TEST_F(FilterCommand, AnEmptyPageIsPassedOn) {
  const CommandRun run = filter("ben", "http://games.example/", "");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
}

TEST_F(FilterCommand, WhatTheFilterControlPrintsNeverMixesWithThePage) {
  // For the current user the filter of the machine is asked, which is not there: its messages are printed
  // with the C library to standard output.
  const std::string user = linesOf(runShell("id -un").out).front();
  ASSERT_EQ(root_.policy({"set", user, "--filter", "on"}).status, 0);
  const CommandRun run = root_.command({"filter", "--url", "http://garden.example/"}, kHarmless);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, kHarmless);
  EXPECT_THAT(run.err, HasSubstr("**** ThornwickStubCreate failed\n"));
}

TEST_F(FilterCommand, RefusesToJudgeByABrokenFile) {
  root_.write("dan", "junk");
  const CommandRun run = filter("dan", "http://a.example/", kLabelled);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("sifterra: the preference file of \"dan\" is broken: "));
  EXPECT_EQ(filter("../dan", "http://a.example/", kLabelled).status, 2);
}

TEST_F(FilterCommand, RefusesToJudgeWithoutAUsableMap) {
  EXPECT_EQ(root_.policy({"set", "cem", "--allow-list-only", "on"}).status, 0);
  // What lies below the root at the place of the library's resources stands for them.
  const std::string resources = std::string(SIFTERRA_BUILD_RESOURCES).substr(1);
  root_.folder().write(resources + "/README", "no map here\n");
  for (const char* state : {"missing", "damaged"}) {
    SCOPED_TRACE(state);
    for (const char* user : {"ben", "cem"}) {
      SCOPED_TRACE(user);
      const CommandRun run = filter(user, "http://games.example/", kHarmless);
      EXPECT_EQ(run.status, 2);
      EXPECT_EQ(run.out, "");
      EXPECT_THAT(run.err, HasSubstr("sifterra: the library's own map is missing or damaged\n"));
    }
    EXPECT_EQ(filter("ann", "http://games.example/", kHarmless).out, kHarmless) << "nobody judges for ann";
    root_.folder().write(resources + "/content_filter_map3", "no map either\n");
  }
}

TEST_F(FilterCommand, AnAddressThatIsNoneIsAnError) {
  const CommandRun run = filter("ben", "http://a b/", kLabelled);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "sifterra: \"http://a b/\" is no address\n");
}

TEST_F(FilterCommand, TellsWhatCannotBeReadOrWritten) {
  const std::string command =
      "$SIFTERRA --root '" + root_.folder().path() + "' filter --user ben --url http://a.example/ ";
  const CommandRun full = runShell("echo page | " + command + "> /dev/full");
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.err, "sifterra: standard output cannot be written: No space left on device\n");
  const CommandRun closed = runShell("echo page | " + command + ">&-");
  EXPECT_EQ(closed.status, 2);
  EXPECT_THAT(closed.err, HasSubstr("standard output cannot be written: "));
  const CommandRun directory = runShell(command + "< /");
  EXPECT_EQ(directory.status, 2);
  EXPECT_EQ(directory.out, "");
  EXPECT_THAT(directory.err, HasSubstr("sifterra: standard input: "));
}

class DebugPageCommand : public testing::Test {
 protected:
  [[nodiscard]] CommandRun debugPage(std::vector<std::string> arguments, std::string_view input) const {
    arguments.insert(arguments.begin(), {"debugpage", "--map", map_.path(), "-"});
    return root_.command(std::move(arguments), input);
  }
  void writeTemplate() const {
    root_.folder().write(
        "Library/Application Support/Vendrel/Wardenry/ContentFiltering/debugpageheader.html",
        "<h1 style='color:FILTER_FLAG_COLOR'>FILTER_MESSAGE</h1>[DEBUG_MESSAGE][STRIPPED_PAGE][WORD_DUMP]");
  }

  const PolicyRoot root_;
  const lsm::TinyMapFile map_;
};

// A byte-order mark, and what the library puts before a page that it has decoded.
constexpr const char* kMark = "\xef\xbb\xbf<!--charset=\"UTF-8\"-->";
constexpr const char* kPage =
    "<html><BODY class=a><p>weather school garden recipe library football science history teacher "
    "homework</body></html>";

TEST_F(DebugPageCommand, ShowsVerdictMessageTextAndWords) {
  writeTemplate();
  const CommandRun run = debugPage({}, kPage);
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, testing::StartsWith(
                           std::string(kMark) +
                           "<html><BODY class=a><h1 style='color:green'>Allowed</h1>[[&nbsp;1:1.00&nbsp;]"));
  EXPECT_THAT(run.out, HasSubstr("weather school garden"));
  EXPECT_THAT(run.out, testing::ContainsRegex("&nbsp;garden<br>"));
  EXPECT_THAT(run.out, testing::EndsWith("homework</body></html>"));
}

TEST_F(DebugPageCommand, ShowsARestrictedPageInRedWithTheMessageThatIsGiven) {
  writeTemplate();
  const CommandRun run = debugPage({"--message", "see here"}, kLabelled);
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("<h1 style='color:red'>Restricted</h1>[see&nbsp;here]"));
}

TEST_F(DebugPageCommand, DecodesThePageByItsCharset) {
  writeTemplate();
  const CommandRun run = debugPage({"--charset", "windows-1251"}, "<body>\xcf\xf0\xe8\xe2\xe5\xf2</body>");
  EXPECT_THAT(run.out, testing::EndsWith("\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82</body>"));
}

TEST_F(DebugPageCommand, WithoutTemplateOrBodyThePageComesBackAlone) {
  EXPECT_EQ(debugPage({}, kPage).out, std::string(kMark) + kPage);
  writeTemplate();
  const CommandRun run = debugPage({}, "<p>no body tag");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, std::string(kMark) + "<p>no body tag");
  EXPECT_THAT(run.err, HasSubstr("Body can't be found"));
}

TEST_F(DebugPageCommand, GoesToAFile) {
  const std::string path = root_.folder().at("debug.html");
  EXPECT_EQ(debugPage({"-o", path}, kPage).out, "");
  EXPECT_EQ(runShell("cat " + path).out, std::string(kMark) + kPage);
}

}  // namespace
}  // namespace sifterra::tools
