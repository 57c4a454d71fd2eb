// main: the `sifterra` command: reads the command line and starts one of its commands.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Command.h"
#include "Output.h"
#include "blockpage_command.h"
#include "check_command.h"
#include "debugpage_command.h"
#include "evaluate_command.h"
#include "filter_command.h"
#include "global_options.h"
#include "map_command.h"
#include "model_command.h"
#include "policy_command.h"
#include "sifterra/sifterra.h"
#include "sniff_command.h"
#include "text_command.h"
#include "words_command.h"
#ifdef SIFTERRA_TOOL_TRAIN
#include "train_command.h"
#endif

namespace sifterra::tools {
namespace {

constexpr const char* kAbout =
    "Sifterra decides whether a web page must be withheld from a managed user.\n"
    "The command judges pages, shows how the library sees them, keeps the policy of each user, and makes "
    "and\n"
    "measures the maps by which pages are judged.";
constexpr const char* kExamples =
    "Examples:\n"
    "  sifterra check page.html                  judge one page\n"
    "  sifterra check -j 4 --json saved/         judge a folder of pages, one JSON object a line\n"
    "  curl -s https://example.com/ | sifterra check --url https://example.com/ -\n"
    "  sifterra model page.html                  what the library reads out of the page\n"
    "  sifterra words page.html                  which words speak for and against it\n"
    "  sifterra policy set ann --filter on       judge what ann reads by its content\n"
    "\n"
    "\"sifterra COMMAND --help\" explains a command. Exit status: 0 good, 1 a page or an\n"
    "address is refused (check, filter, policy check), 2 an error.";

struct Entry {
  const char* name;
  const char* description;
  Action (*define)(CLI::App& command);
};

constexpr Entry kCommands[] = {
    {"check", "Judge pages: restricted or allowed, and why", defineCheckCommand},
    {"model", "Show the page model of a page as JSON", defineModelCommand},
    {"text", "Print the text of a page that the classifier reads", defineTextCommand},
    {"words", "Print the words of a page with their weights", defineWordsCommand},
    {"policy", "Show and change what a user may see", definePolicyCommand},
    {"blockpage", "Render the page that stands for a refused one", defineBlockPageCommand},
    {"debugpage", "Show a page with what the library makes of it", defineDebugPageCommand},
    {"sniff", "Tell the MIME types of files", defineSniffCommand},
    {"filter", "Judge a page as it comes, and pass it on or a block page", defineFilterCommand},
    {"map", "Look into a map file", defineMapCommand},
#ifdef SIFTERRA_TOOL_TRAIN
    {"train", "Make a map from pages whose category is known", defineTrainCommand},
#endif
    {"evaluate", "Measure a map on pages whose category is known", defineEvaluateCommand},
};

// "map info": options may stand behind the inner name as well.
void addGlobalOptionsBelow(CLI::App& app, GlobalOptions& options) {
  addGlobalOptions(app, options);
  for (CLI::App* inner : app.get_subcommands({})) addGlobalOptionsBelow(*inner, options);
}

int run(int argc, char** argv) {
  CLI::App app(kAbout, "sifterra");
  app.footer(kExamples);
  app.set_version_flag("--version", "sifterra " SIFTERRA_VERSION, "Print the version and exit");
  app.require_subcommand(0, 1);  // none is reported below: CLI11 would report it before an unknown one
  GlobalOptions options;
  std::vector<std::pair<CLI::App*, Action>> actions;
  for (const Entry& entry : kCommands) {
    CLI::App* command = app.add_subcommand(entry.name, entry.description);
    actions.emplace_back(command, entry.define(*command));
  }
  addGlobalOptionsBelow(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitGood : kExitError;
  }
  applyGlobalOptions(options);
  for (const auto& [command, action] : actions) {
    if (command->parsed()) return action();
  }
  printError("no command given; \"sifterra --help\" lists them");
  return kExitError;
}

}  // namespace
}  // namespace sifterra::tools

int main(int argc, char** argv) {
  try {
    return sifterra::tools::run(argc, argv);
  } catch (const std::exception& error) {  // memory gave out, or the like
    (void)std::fprintf(stderr, "sifterra: %s\n", error.what());
  } catch (...) {
    (void)std::fputs("sifterra: failed\n", stderr);
  }
  return sifterra::tools::kExitError;
}
