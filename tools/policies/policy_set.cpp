// `policy set`: the switches of a user's file.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "Output.h"
#include "policies/policy_file.h"
#include "policies/subcommands.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::string user;
  std::array<std::string, kNamedSwitches.size()> values;  // "on", "off", "" when not given
  bool replaceBroken = false;
};

const char* onOff(bool on) {
  return on ? "on" : "off";
}

// What was done to a switch, as a line for people.
std::string set(Preferences& preferences, const NamedSwitch& which, bool on, const char* why = "") {
  const bool before = isOn(preferences, which);
  preferences.setValue(which.which, on != which.inverted);
  return std::string(which.label) + ": " + onOff(on) + (before == on ? " (as before)" : "") + why + "\n";
}

int runSet(const Options& options) {
  if (std::all_of(options.values.begin(), options.values.end(),
                  [](const std::string& v) { return v.empty(); })) {
    printError("no switch given; \"sifterra policy set --help\" lists them");
    return kExitError;
  }
  std::string report;
  const int status = changePreferences(options.user, options.replaceBroken, [&](Preferences& preferences) {
    bool modeOn = false;
    for (std::size_t i = 0; i < kNamedSwitches.size(); ++i) {
      if (options.values[i].empty()) continue;
      const NamedSwitch& which = kNamedSwitches[i];
      const bool on = options.values[i] == "on";
      report += set(preferences, which, on);
      modeOn = modeOn || (on && (which.which == Preferences::Switch::ContentFilter ||
                                 which.which == Preferences::Switch::AllowListOnly));
    }
    // Without it https pages always pass and browsers do not filter, which nobody who turns a mode on wants.
    const NamedSwitch& restrict = kNamedSwitches[0];
    if (modeOn && options.values[0].empty() && !isOn(preferences, restrict)) {
      report += set(preferences, restrict, true, " (needed by the mode)");
    }
    return true;
  });
  if (status != kExitGood) return status;
  Output output;
  output.write(report);
  return output.finish() ? kExitGood : kExitError;
}

}  // namespace

Subcommand definePolicySet(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("set", "Turn a user's switches on and off");
  command->footer(
      "Makes the user's file when there is none. Turning --filter or --allow-list-only on turns --restrict "
      "on\n"
      "as well unless it is given. With both modes on, allow-list-only mode decides.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy set ann --filter on\n"
      "  sifterra policy set ben --allow-list-only on --overrides off\n"
      "  sifterra policy set ann --restrict off             no restrictions, the lists stay");
  addUserArgument(*command, options->user);
  for (std::size_t i = 0; i < kNamedSwitches.size(); ++i) {
    command
        ->add_option(std::string("--") + kNamedSwitches[i].option, options->values[i],
                     kNamedSwitches[i].meaning)
        ->type_name("on|off")
        ->check(CLI::IsMember({"on", "off"}).description(""));
  }
  addReplaceBrokenOption(*command, options->replaceBroken);
  return {command, [options] { return runSet(*options); }};
}

}  // namespace sifterra::tools
