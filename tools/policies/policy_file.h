// policy_file: what the subcommands of `policy` share: a user's file, its lists and switches by name.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Command.h"
#include "sifterra/policy/WFManagedPreferences.h"

namespace CLI {
class App;
}

namespace sifterra::tools {

using Preferences = WFManagedPreferences;

struct NamedList {
  const char* name;  // on the command line
  const char* meaning;
  Preferences::List list;
};
inline constexpr std::array<NamedList, 3> kNamedLists = {{
    {"allow", "always allowed while the content filter is on", Preferences::List::Allow},
    {"deny", "never allowed while the content filter is on", Preferences::List::Deny},
    {"sites", "allowed in allow-list-only mode", Preferences::List::Sites},
}};

struct NamedSwitch {
  const char* option;  // on the command line
  const char* label;
  const char* meaning;
  Preferences::Switch which;
  bool inverted;     // the file says the opposite
  bool whenMissing;  // what it means, as the option has it, that the file does not tell
};
inline constexpr std::array<NamedSwitch, 5> kNamedSwitches = {{
    {"restrict", "restrictions", "Restrict at all", Preferences::Switch::RestrictWeb, false, false},
    {"filter", "content filter", "Judge pages by their content", Preferences::Switch::ContentFilter, false,
     false},
    {"allow-list-only", "allow-list only", "Allow nothing but the list \"sites\"",
     Preferences::Switch::AllowListOnly, false, false},
    {"always-https", "always https", "Let every https page pass", Preferences::Switch::AlwaysAllowHTTPS,
     false, false},
    {"overrides", "overrides", "Offer to ask for an override on the block page",
     Preferences::Switch::NoOverridding, true, true},
}};

// The value of a switch as the option has it.
[[nodiscard]] bool isOn(const Preferences& preferences, const NamedSwitch& which);
[[nodiscard]] const NamedList& listNamed(const std::string& name);

// Declares USER and LIST of a subcommand.
void addUserArgument(CLI::App& command, std::string& user);
void addListArgument(CLI::App& command, std::string& list);

// The user's name for the library; null for bytes that are no UTF-8.
[[nodiscard]] platform::String userName(const std::string& user);
// Reads a file to show it. Nothing, after a message, when it is broken.
[[nodiscard]] std::optional<Preferences> readPreferences(const std::string& user);
// Whether the list can be shown or changed; if not, says why.
[[nodiscard]] bool checkList(const Preferences& preferences, const NamedList& list);

// Reads the user's file with other writers kept out, has it changed, and saves it. `change` answers false,
// after a message, when nothing is to be saved. A broken file is saved over only if `replaceBroken`, and that
// is said. kExitGood or, after a message, kExitError.
[[nodiscard]] int changePreferences(const std::string& user, bool replaceBroken,
                                    const std::function<bool(Preferences&)>& change);
void addReplaceBrokenOption(CLI::App& command, bool& replaceBroken);

}  // namespace sifterra::tools
