#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

constexpr const char* kPage =
    "<html><head><title>Garden &amp; more</title><meta name=description content='All_about beans'>"
    "<meta name=keywords content='beans, peas'></head><body><p>Plant them <b>now</b>.</p>"
    "<img src=a.jpg alt='A bean'><a href=/seeds title='Seed swap'>seeds</a></body></html>";

std::string times(int count, const std::string& line) {
  std::string text;
  for (int i = 0; i < count; ++i) text += line + "\n";
  return text;
}

TEST(TextCommand, PrintsTheRawFilterTextByteForByte) {
  const CommandRun run = runCommand({"text", "--raw", "-"}, kPage);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const std::string expected =
      "ooooooooooooWFWebPageToFilterTextoooooooooooo\n\n"
      "oooAooLEGITTIMATEooWORDooFORooADVERTISINGoooo\nooooooooooooCategory1oooooooooooo\n"
      "ooooooooooooooooooooTITLEoooooooooooooooooooo\n" +
      times(15, "Garden & more") + "oooooooooooooooooooooTAGSoooooooooooooooooooo\n" + times(5, "") +
      "oooooooooooooooooDESCRIPTIONooooooooooooooooo\n" + times(10, "All_about beans") +
      "oooooooooooooooooooKEYWORDSoooooooooooooooooo\n" + times(10, "beans, peas") +
      "oooooooooooooooooooIMAGEALTSooooooooooooooooo\n" + times(1, "A bean\n") +
      "oooooooooooooooooooLINKTITLESoooooooooooooooo\n" + times(1, "Seed swap\n") +
      "oooooooooooooooooooPAGECONTENTooooooooooooooo\n";
  EXPECT_EQ(run.out.substr(0, expected.size()), expected);
  EXPECT_THAT(run.out.substr(expected.size()), testing::HasSubstr("Plant them"));
  EXPECT_EQ(run.out.back(), '\n');  // the section's own
}

TEST(TextCommand, PrintsThePostProcessedTextWithoutAFinalLineEndOfItsOwn) {
  const CommandRun raw = runCommand({"text", "--raw", "-"}, kPage);
  const CommandRun plain = runCommand({"text", "-"}, kPage);
  EXPECT_EQ(plain.status, 0);
  EXPECT_THAT(plain.out, testing::HasSubstr("All about beans"));  // "_" is a space now
  EXPECT_THAT(plain.out, testing::Not(testing::HasSubstr("All_about")));
  EXPECT_THAT(plain.out, testing::StartsWith("ooooooooooooWFWebPageToFilterTextoooooooooooo"));
  EXPECT_NE(plain.out, raw.out);
}

TEST(TextCommand, PrintsTheTrainingTextOfACategory) {
  const CommandRun run = runCommand({"text", "--raw", "--training", "2", "-"}, kPage);
  EXPECT_EQ(run.status, 0);
  const std::string expected =
      "ooooooooooooWFWebPageToTrainingTextoooooooooooo\nooooooooooooCategory2oooooooooooo\n\n=========\n" +
      times(15, "Garden & more") + "=========\n" + times(5, "") + "=========\n" +
      times(10, "All_about beans");
  EXPECT_EQ(run.out.substr(0, expected.size()), expected);
  for (int category = 1; category <= 9; ++category) {
    const std::string number = std::to_string(category);
    const CommandRun each = runCommand({"text", "--training", number, "-"}, kPage);
    EXPECT_EQ(each.status, 0);
    EXPECT_THAT(each.out, testing::HasSubstr("ooooooooooooCategory" + number + "oooooooooooo"));
  }
}

TEST(TextCommand, ReadsFilesAndStandardInputAlike) {
  const TemporaryFolder folder;
  const CommandRun file = runCommand({"text", folder.write("p.html", kPage)});
  EXPECT_EQ(file.status, 0);
  EXPECT_EQ(file.out, runCommand({"text", "-"}, kPage).out);
}

TEST(TextCommand, DecodesByTheGivenCharset) {
  const std::string koi8 = "<p>\xd0\xd2\xc9\xd7\xc5\xd4</p>";  // a greeting in KOI8-R
  const CommandRun run = runCommand({"text", "--charset", "KOI8-R", "-"}, koi8);
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, testing::HasSubstr("\xd0\xbf\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82"));
}

TEST(TextCommand, GivesTheSameTextForEveryEncodingOfAPage) {
  const std::string utf8 = "<html><head><title>\xc3\xa9t\xc3\xa9</title></head><body>\xc3\xa0 la plage";
  const std::string latin = "<html><head><title>\xe9t\xe9</title></head><body>\xe0 la plage";
  EXPECT_EQ(runCommand({"text", "--charset", "iso-8859-1", "-"}, latin).out,
            runCommand({"text", "-"}, utf8).out);
}

TEST(TextCommand, ReportsWhatItCannotRead) {
  const TemporaryFolder folder;
  folder.write("none/a.png", "");
  folder.write("two/a.html", "");
  folder.write("two/b.html", "");
  folder.write("empty.jsonl", "");
  struct Row {
    const char* name;
    const char* error;
  };
  constexpr Row kRows[] = {
      {"missing.html", "cannot be read: No such file or directory"},
      {"none", "is a directory without pages (.html, .htm, .xhtml or .txt)"},
      {"two", "holds more than one page, and exactly one was expected"},
      {"empty.jsonl", "holds no page"},
  };
  for (const Row& row : kRows) {
    for (const char* command : {"text", "model"}) {
      SCOPED_TRACE(row.name);
      const CommandRun run = runCommand({command, folder.at(row.name)});
      EXPECT_EQ(run.status, 2);
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "sifterra: " + folder.at(row.name) + ": " + row.error + "\n");
    }
  }
}

}  // namespace
}  // namespace sifterra::tools
