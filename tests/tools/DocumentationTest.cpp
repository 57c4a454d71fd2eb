// DocumentationTest: the man page and the completions tell of the same commands and options as --help.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tools/command_run.h"

namespace sifterra::tools {
namespace {

using Options = std::set<std::string>;  // "--json", "-j"

const std::vector<std::string> kCommands = {
    "check",      "model",      "text",          "words",         "policy show",   "policy check",
    "policy set", "policy add", "policy remove", "policy import", "policy export", "blockpage",
    "debugpage",  "sniff",      "filter",        "map info",      "train",         "evaluate"};
const Options kGlobal = {"-h", "--help", "--root", "--log-level", "--log-private"};

std::string contentsOf(const std::string& path) {
  std::ifstream file(std::string(SIFTERRA_SOURCE_DIR) + "/" + path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

// From the lines "  -j,--jobs N   ..." of a help text.
Options optionsOfHelp(const std::string& command) {
  std::vector<std::string> arguments = command.empty() ? std::vector<std::string>() : wordsOf(command);
  arguments.emplace_back("--help");
  Options options;
  for (const std::string& line : linesOf(runCommand(arguments).out)) {
    if (line.compare(0, 3, "  -") != 0) continue;
    std::istringstream names(line.substr(2, line.find(' ', 2) - 2));
    for (std::string name; std::getline(names, name, ',');) options.insert(name);
  }
  return options;
}

// From the lines ".It Fl j , Fl -jobs Ar N" below each ".Ss" of the man page.
std::map<std::string, Options> optionsOfManPage() {
  std::map<std::string, Options> sections;
  std::string section;
  for (const std::string& line : linesOf(contentsOf("docs/man/sifterra.1"))) {
    if (line.compare(0, 4, ".Ss ") == 0) section = line.substr(4);
    if (line.compare(0, 7, ".It Fl ") != 0) continue;
    const std::vector<std::string> words = wordsOf(line);
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
      if (words[i] == "Fl") sections[section].insert("-" + words[i + 1]);
    }
  }
  return sections;
}

// What bash offers when Tab is pressed behind these words and `current`.
Options completionsOf(const std::string& words, const std::string& current) {
  const CommandRun run =
      runShell("source " SIFTERRA_SOURCE_DIR "/packaging/completions/sifterra.bash; COMP_WORDS=(sifterra " +
               words + " '" + current +
               "'); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _sifterra; printf '%s\\n' \"${COMPREPLY[@]}\"");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const std::vector<std::string> offered = linesOf(run.out);
  return {offered.begin(), offered.end()};
}

Options without(Options options, const Options& others) {
  for (const std::string& other : others) options.erase(other);
  return options;
}

TEST(ManPage, TellsTheOptionsOfEveryCommand) {
  std::map<std::string, Options> page = optionsOfManPage();
  EXPECT_EQ(page["Options of every command"], kGlobal);
  for (const std::string& command : kCommands) {
    SCOPED_TRACE(command);
    const Options help = optionsOfHelp(command);
    EXPECT_EQ(page[command], without(help, kGlobal));
    EXPECT_THAT(help, testing::IsSupersetOf(kGlobal));
  }
}

TEST(ManPage, HasNoMistakes) {
  if (runShell("command -v groff").status != 0) GTEST_SKIP() << "no groff here";
  const CommandRun run = runShell("groff -mdoc -Tutf8 -ww " SIFTERRA_SOURCE_DIR "/docs/man/sifterra.1");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, testing::HasSubstr("sifterra"));
}

TEST(BashCompletion, OffersTheOptionsOfEveryCommand) {
  for (const std::string& command : kCommands) {
    SCOPED_TRACE(command);
    EXPECT_EQ(completionsOf(command, "-"), without(optionsOfHelp(command), {"-h"}));
  }
  EXPECT_EQ(completionsOf("", "-"), without(optionsOfHelp(""), {"-h"}));
}

TEST(BashCompletion, OffersTheCommandsAndTheirValues) {
  EXPECT_EQ(completionsOf("", "c"), Options{"check"});
  EXPECT_EQ(completionsOf("--root / --log-private", "mo"), Options{"model"});
  EXPECT_EQ(completionsOf("map", "i"), Options{"info"});
  EXPECT_EQ(completionsOf("policy", "s"), (Options{"show", "set"}));
  EXPECT_EQ(completionsOf("policy show", "roo"), Options{"root"});
  EXPECT_EQ(completionsOf("--root / policy import ann", "d"), Options{"deny"});
  EXPECT_EQ(completionsOf("policy import ann deny", "/etc/hostna"), Options{"/etc/hostname"});
  EXPECT_EQ(completionsOf("policy set ann --filter", "o"), (Options{"on", "off"}));
  EXPECT_EQ(completionsOf("policy export --format", "squid"), (Options{"squid", "squidguard"}));
  EXPECT_EQ(completionsOf("blockpage --kind", "e"), Options{"error"});
  EXPECT_EQ(completionsOf("check --log-level", "d"), (Options{"debug", "default"}));
  EXPECT_EQ(completionsOf("text --training", "2"), Options{"2"});
  EXPECT_EQ(completionsOf("check", "/etc/hostna"), Options{"/etc/hostname"});
  EXPECT_EQ(completionsOf("check --url", "x"), Options{""});
}

TEST(OtherCompletions, NameEveryCommandAndOption) {
  const std::string zsh = contentsOf("packaging/completions/_sifterra");
  const std::string fish = contentsOf("packaging/completions/sifterra.fish");
  for (const std::string& command : kCommands) {
    SCOPED_TRACE(command);
    EXPECT_THAT(zsh, testing::HasSubstr(wordsOf(command).front()));
    EXPECT_THAT(fish, testing::HasSubstr(wordsOf(command).front()));
    for (const std::string& option : optionsOfHelp(command)) {
      SCOPED_TRACE(option);
      const bool isLong = option.compare(0, 2, "--") == 0;
      EXPECT_TRUE(std::regex_search(zsh, std::regex(option + "[^a-z-]")));
      EXPECT_TRUE(std::regex_search(
          fish, std::regex((isLong ? "-l " + option.substr(2) : "-s " + option.substr(1)) + " ")));
    }
  }
}

}  // namespace
}  // namespace sifterra::tools
