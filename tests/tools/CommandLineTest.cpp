#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sifterra/sifterra.h"
#include "tools/command_run.h"
#include "tools/fixtures.h"

namespace sifterra::tools {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::vector<std::string> kCommands = {"check",     "model", "text",   "words", "policy", "blockpage",
                                            "debugpage", "sniff", "filter", "map",   "train",  "evaluate"};

TEST(CommandLine, TellsItsVersion) {
  const CommandRun run = runCommand({"--version"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "sifterra " SIFTERRA_VERSION "\n");
  EXPECT_EQ(run.err, "");
}

TEST(CommandLine, HelpNamesEveryCommandAndGivesExamples) {
  const CommandRun run = runCommand({"--help"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("Examples:"));
  for (const std::string& command : kCommands) EXPECT_THAT(run.out, HasSubstr("\n  " + command + " "));
}

TEST(CommandLine, HelpOfEachCommandTeachesByExample) {
  std::vector<std::vector<std::string>> lines = {{"map", "info", "--help"}};
  for (const char* command : {"show", "check", "set", "add", "remove", "import", "export"}) {
    lines.push_back({"policy", command, "--help"});
  }
  for (const std::string& command : kCommands) lines.push_back({command, "--help"});
  for (const std::vector<std::string>& line : lines) {
    SCOPED_TRACE(line.front());
    const CommandRun run = runCommand(line);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr("Examples:\n  sifterra " + line.front()));
    EXPECT_THAT(run.out, HasSubstr("--root"));
    EXPECT_THAT(run.out, HasSubstr("--log-level"));
    EXPECT_THAT(run.out, HasSubstr("--log-private"));
  }
}

TEST(CommandLine, MistakesGoToStandardErrorWithStatusTwo) {
  struct Row {
    std::vector<std::string> arguments;
    const char* message;
  };
  const Row rows[] = {
      {{}, "no command given; \"sifterra --help\" lists them"},
      {{"frobnicate"}, "frobnicate"},
      {{"check"}, "PATH is required"},
      {{"check", "--nonsense", "a.html"}, "--nonsense"},
      {{"check", "-j", "0", "a.html"}, "-j"},
      {{"check", "-j", "many", "a.html"}, "-j"},
      {{"check", "--url"}, "--url"},
      {{"text", "--training", "0", "-"}, "--training"},
      {{"text", "--training", "10", "-"}, "--training"},
      {{"text", "a.html", "b.html"}, "b.html"},
      {{"model"}, "PATH is required"},
      {{"words"}, "PATH is required"},
      {{"map"}, "A subcommand is required"},
      {{"map", "info"}, "FILE is required"},
      {{"policy"}, "A subcommand is required"},
      {{"policy", "show"}, "USER is required"},
      {{"policy", "set", "ann"}, "no switch given; \"sifterra policy set --help\" lists them"},
      {{"policy", "set", "ann", "--filter", "maybe"}, "--filter"},
      {{"policy", "add", "ann", "gray", "a.example"}, "gray"},
      {{"policy", "add", "ann", "deny"}, "ADDRESS is required"},
      {{"policy", "import", "ann", "deny", "--format", "adblock", "-"}, "adblock"},
      {{"policy", "export", "ann", "deny", "--format", "auto"}, "auto"},
      {{"blockpage"}, "--url is required"},
      {{"blockpage", "--url", "http://a.example/", "--kind", "none"}, "none"},
      {{"sniff"}, "PATH is required"},
      {{"debugpage"}, "PATH is required"},
      {{"filter"}, "--url is required"},
      {{"--log-level", "loud", "text", "-"}, "--log-level"},
      {{"--root", "/no/such/directory", "text", "-"}, "/no/such/directory"},
      {{"text", "--root", "/no/such/directory", "-"}, "/no/such/directory"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    const CommandRun run = runCommand(row.arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(row.message));
  }
}

TEST(CommandLine, TakesGlobalOptionsBeforeAndAfterTheCommand) {
  const TemporaryFolder folder;
  const std::string page = folder.write("p.html", "<p>a b c");  // too little, which is logged at level info
  const CommandRun quiet = runCommand({"model", page});
  EXPECT_EQ(quiet.err, "");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--log-level", "info", "model", page},
        {"model", "--log-level", "info", page},
        {"model", page, "--log-level=info", "--log-private", "--root", folder.path()}}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const CommandRun run = runCommand(arguments);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, quiet.out);
    EXPECT_THAT(run.err, HasSubstr("Page not worth analyzing"));
  }
}

TEST(CommandLine, TakesFilesThatAreNamedLikeCommandsOrOptions) {
  const TemporaryFolder folder;
  folder.write("text", "<p>one");
  folder.write("--raw", "<p>two");
  const CommandRun named = runShell("cd " + folder.path() + " && $SIFTERRA model text");
  EXPECT_EQ(named.status, 0) << named.err;
  EXPECT_THAT(named.out, HasSubstr("\"pageContent\":\" one "));
  const CommandRun dashed = runShell("cd " + folder.path() + " && $SIFTERRA model -- --raw");
  EXPECT_EQ(dashed.status, 0) << dashed.err;
  EXPECT_THAT(dashed.out, HasSubstr("\"pageContent\":\" two "));
}

TEST(CommandLine, AReaderThatGoesAwayIsNoError) {
  const TemporaryFolder folder;
  const std::string page = folder.write("p.html", "<p>" + std::string(5000000, 'x'));
  const CommandRun run = runShell("$SIFTERRA text " + page + " | head -c 10; (trap '' PIPE; $SIFTERRA text " +
                                  page + " | head -c 10)");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, std::string(20, 'o'));
}

TEST(CommandLine, OutputThatCannotBeWrittenIsAnError) {
  const TemporaryFolder folder;
  const std::string page = folder.write("p.html", "<p>some words");
  const CommandRun full = runShell("$SIFTERRA text " + page + " > /dev/full");
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.err, "sifterra: standard output cannot be written: No space left on device\n");
  const CommandRun closed = runShell("$SIFTERRA text " + page + " >&-");
  EXPECT_EQ(closed.status, 2);
  EXPECT_THAT(closed.err, StartsWith("sifterra: standard output cannot be written: "));
}

}  // namespace
}  // namespace sifterra::tools
