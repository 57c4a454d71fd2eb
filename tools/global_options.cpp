#include "global_options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "sifterra/sifterra.h"

namespace sifterra::tools {
namespace {

const std::map<std::string, int>& logLevels() {
  static const std::map<std::string, int> kLevels = {{"debug", WFLogLevelDebug},
                                                     {"info", WFLogLevelInfo},
                                                     {"default", WFLogLevelDefault},
                                                     {"error", WFLogLevelError},
                                                     {"off", WFLogLevelOff}};
  return kLevels;
}

}  // namespace

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.add_option("--root", options.root, "Look up the fixed system paths below this directory")
      ->type_name("DIR")
      ->check(CLI::Validator(CLI::ExistingDirectory).description(""))
      ->group("Options of every command");
  app.add_option("--log-level", options.logLevel, "Lowest level to log: debug, info, default, error or off")
      ->type_name("LEVEL")
      ->check(CLI::IsMember(logLevels()).description(""))
      ->group("Options of every command");
  app.add_flag("--log-private", options.logPrivate, "Log private values (titles, addresses) in clear")
      ->group("Options of every command");
}

void applyGlobalOptions(const GlobalOptions& options) {
  if (!options.root.empty()) WFSetFileSystemRoot(options.root.c_str());
  if (!options.logLevel.empty()) WFSetLogLevel(logLevels().at(options.logLevel));
  if (options.logPrivate) WFSetLogPrivateData(1);
  // Whoever owns a numeric host decides about its name, and a verdict must not depend on who answers today.
  WFSetNameLookups(0);
}

}  // namespace sifterra::tools
