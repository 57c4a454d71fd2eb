// The disguises of `sifterra evaluate --disguise`: what each makes of a page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "evaluation/DisguiseRun.h"
#include "evaluation/DisguiseTexts.h"
#include "evaluation/disguises.h"
#include "evaluation/page_pieces.h"

namespace sifterra::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const Disguise& disguise(const std::string& name) {
  for (const Disguise& one : allDisguises()) {
    if (one.name == name) return one;
  }
  throw std::runtime_error("no disguise " + name);
}

// Two adult and four legitimate pages: "naughty" and "xxx" tell, "garden" and "the" do not.
DisguiseTexts knownTexts() {
  const std::string prose = "the garden grows slowly and the weather is kind to all who work in it every day";
  DisguiseTexts texts;
  texts.add("<title>naughty xxx</title><p>the naughty page", "en", true);
  texts.add("<title>naughty</title><p>the xxx page", "en", true);
  texts.add("<title>Garden</title><meta name=description content=\"On gardens\"><p>" + prose + prose + prose,
            "en", false);
  texts.add("<title>Garten</title><p>" + std::string("Der Garten im Wetter ") + prose + prose + prose, "de",
            false);
  texts.add("<title>short</title><p>the page", "en", false);
  texts.add("<title>shorter</title><p>garden", "en", false);
  texts.finish();
  return texts;
}

std::string disguised(const std::string& name, const std::string& html, const std::string& language = "en") {
  static const DisguiseTexts texts = knownTexts();
  return disguise(name).apply({html, language, texts});
}

TEST(DisguiseTexts, TellingWordsAreThoseOfAdultPages) {
  const DisguiseTexts texts = knownTexts();
  EXPECT_TRUE(texts.tells("naughty"));
  EXPECT_TRUE(texts.tells("xxx"));
  EXPECT_FALSE(texts.tells("the"));
  EXPECT_FALSE(texts.tells("garden"));
  EXPECT_FALSE(texts.tells("page")) << "twice in adult pages, but in an ordinary one as well";
}

TEST(DisguiseTexts, OrdinaryTextIsOfThePagesLanguageWhereThereIsSome) {
  const DisguiseTexts texts = knownTexts();
  ASSERT_TRUE(texts.hasOrdinaryPages());
  for (std::uint64_t number = 0; number < 5; ++number) {
    EXPECT_EQ(texts.ordinaryPage("de", number).title, "Garten");
    EXPECT_EQ(texts.ordinaryPage("en", number).title, "Garden") << "the short page gives none";
  }
  EXPECT_EQ(texts.ordinaryPage("fr", 0).title, "Garden");
  EXPECT_EQ(texts.ordinaryPage("fr", 1).title, "Garten");
  EXPECT_EQ(texts.ordinaryPage("en", 0).description, "On gardens");
  EXPECT_EQ(texts.ordinaryPage("en", 0).keywords, "Garden") << "made of the title";
  EXPECT_GE(texts.ordinaryText("en", 0, 5000).size(), 5000U);
  EXPECT_LT(texts.ordinaryText("en", 0, 5000).size(), 5200U);
  EXPECT_EQ(texts.ordinaryText("en", 0, 0), "");
}

constexpr const char* kPage =
    "<html><head><title>naughty</title></head><body><p>the naughty pictures</p><img src=a "
    "alt=\"naughty\"></body>"
    "</html>";

TEST(Disguises, HaveDifferentNamesAndSayWhatTheyDo) {
  std::set<std::string> names;
  for (const Disguise& one : allDisguises()) {
    names.insert(one.name);
    EXPECT_GT(std::string(one.what).size(), 10U) << one.name;
  }
  EXPECT_EQ(names.size(), allDisguises().size());
  EXPECT_THAT(names, testing::IsSupersetOf({"leet", "zero-width", "homoglyph", "spaced", "glued", "misspelt",
                                            "append-1", "append-3", "append-10", "ordinary-head", "tags",
                                            "soft-hyphen", "entities", "alt-only", "script-strings"}));
}

TEST(Disguises, LeaveNoTellingWordInClear) {
  for (const char* name : {"leet", "zero-width", "homoglyph", "spaced", "spaced-all", "misspelt",
                           "misspelt-all", "tags", "tags-letters", "soft-hyphen", "entities"}) {
    EXPECT_THAT(disguised(name, kPage), Not(HasSubstr("naughty"))) << name;
  }
}

TEST(Disguises, AreTheSameEveryTime) {
  for (const Disguise& one : allDisguises()) {
    EXPECT_EQ(disguised(one.name, kPage), disguised(one.name, kPage)) << one.name;
  }
}

TEST(Disguises, SpacedAndMisspeltTouchTellingWordsOnlyUnlessAllAreMeant) {
  EXPECT_THAT(disguised("spaced", kPage), HasSubstr("pictures"));
  EXPECT_THAT(disguised("spaced-all", kPage), Not(HasSubstr("pictures")));
  EXPECT_THAT(disguised("misspelt", kPage), HasSubstr("pictures"));
  EXPECT_THAT(disguised("misspelt-all", kPage), Not(HasSubstr("pictures")));
}

TEST(Disguises, TagsPartWordsAndTakeTheTitleIntoTheBody) {
  EXPECT_EQ(
      disguised("tags", "<title>bad title</title><body><p>a word & more</p></body>"),
      "<title></title><body><p>a wo<b></b>rd &amp; mo<b></b>re</p><p>ba<b></b>d tit<b></b>le</p>\n</body>");
  EXPECT_EQ(disguised("tags-letters", "<p>abc"), "<p>a<i></i>b<i></i>c");
}

TEST(Disguises, OrdinaryTextComesBehindThePagesOwn) {
  const std::string once = disguised("append-1", kPage);
  const std::string often = disguised("append-10", kPage);
  EXPECT_THAT(once, HasSubstr("alt=\"naughty\"><p>the garden grows"));
  EXPECT_THAT(once, HasSubstr("</p>\n</body></html>"));
  EXPECT_GT(often.size(), once.size() + 200);
  EXPECT_LT(disguised("append-3", kPage).size(), often.size());
}

TEST(Disguises, AnOrdinaryHeadReplacesWhatThereIsAndAddsWhatIsMissing) {
  EXPECT_EQ(disguised("ordinary-head", kPage),
            "<html><head><meta name=\"description\" content=\"On gardens\">\n"
            "<meta name=\"keywords\" content=\"Garden\">\n"
            "<title>Garden</title></head><body><p>the naughty pictures</p><img src=a "
            "alt=\"naughty\"></body></html>");
}

TEST(Disguises, TextMovesIntoAlternativeTextsOrScripts) {
  const std::string page = "<title>one; \"two\"</title><p>three</p>";
  const std::string alt = disguised("alt-only", page);
  EXPECT_THAT(alt, HasSubstr("alt=\"one; &quot;two&quot;\">"));
  EXPECT_THAT(alt, HasSubstr("alt=\"three\">"));
  EXPECT_THAT(alt, Not(HasSubstr("<p>")));
  const std::string script = disguised("script-strings", page);
  EXPECT_THAT(script, HasSubstr("<script>document.write(\"one   two \");</script>"));
  EXPECT_THAT(script, HasSubstr("<script>document.write(\"three\");</script>"));
}

TEST(DisguiseRun, CountsWhatIsStillCaughtOfWhatWasCaughtAndChanged) {
  DisguiseRun run;
  const auto add = [&run](const std::string& html, bool adult, bool restricted, std::int32_t evidence = 0) {
    EvaluatedPage page;
    page.adult = adult;
    page.restricted = restricted;
    page.evidence = evidence;
    page.groups["kind"] = "real";
    run.add(page, html);
  };
  add("<p>pony one", true, true);
  add("<p>moon two", true, true);
  add("<p>pony missed", true, false);
  add("<p>nr. 7", true, true);  // nothing that leet changes
  add("<p>labelled", true, true, 3);
  add("<p>garden", false, false);
  std::vector<std::string> leftOut;
  std::size_t reported = 0;
  const auto figures = run.judge(
      {&disguise("leet"), &disguise("append-1")}, 2,
      [](const std::string& html) { return html.find("p0ny") != std::string::npos; },
      [&reported](std::size_t, std::size_t) { ++reported; }, leftOut);
  ASSERT_EQ(figures.size(), 1U);
  EXPECT_EQ(figures[0].name, "leet");
  EXPECT_EQ(figures[0].pages, 4U) << "without the one that labels itself";
  EXPECT_EQ(figures[0].changed, 3U);
  EXPECT_EQ(figures[0].plain, 2U);
  EXPECT_EQ(figures[0].kept, 1U);
  EXPECT_EQ(figures[0].caught, 3U) << "also the one that was missed, and the unchanged one";
  ASSERT_EQ(figures[0].kinds.size(), 1U);
  EXPECT_EQ(figures[0].kinds[0].confusion.truePositives, 1U);
  EXPECT_THAT(leftOut, ElementsAre("append-1")) << "no page is long enough to give ordinary text";
  EXPECT_EQ(reported, 4U);
}

}  // namespace
}  // namespace sifterra::tools
