#include "policies/policy_file.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "Output.h"

namespace sifterra::tools {

bool isOn(const Preferences& preferences, const NamedSwitch& which) {
  const std::optional<bool> value = preferences.value(which.which);
  return value ? *value != which.inverted : which.whenMissing;
}

const NamedList& listNamed(const std::string& name) {
  return *std::find_if(kNamedLists.begin(), kNamedLists.end() - 1,
                       [&](const NamedList& list) { return name == list.name; });
}

void addUserArgument(CLI::App& command, std::string& user) {
  command.add_option("USER", user, "Short name of the user")->required()->type_name("");
}

void addListArgument(CLI::App& command, std::string& list) {
  command.add_option("LIST", list, "allow, deny or sites")
      ->required()
      ->type_name("")
      ->check(CLI::IsMember({"allow", "deny", "sites"}).description(""));
}

void addReplaceBrokenOption(CLI::App& command, bool& replaceBroken) {
  command.add_flag("--replace-broken", replaceBroken, "Begin anew where the file is broken");
}

platform::String userName(const std::string& user) {
  return platform::String::fromUTF8(user);
}

namespace {

// "path: why"; of a name that makes no path, the name.
std::string problemOf(const Preferences& preferences, const std::string& user) {
  return (preferences.path() ? preferences.path().toUTF8() : "\"" + user + "\"") + ": " +
         preferences.problem().toUTF8();
}

}  // namespace

std::optional<Preferences> readPreferences(const std::string& user) {
  Preferences preferences = Preferences::load(userName(user));
  if (preferences.state() != Preferences::State::Broken) return preferences;
  printError(problemOf(preferences, user));
  return std::nullopt;
}

bool checkList(const Preferences& preferences, const NamedList& list) {
  if (!preferences.isMalformed(list.list)) return true;
  printError(preferences.path().toUTF8() + ": what it holds for the list \"" + list.name + "\" is no list");
  return false;
}

int changePreferences(const std::string& user, bool replaceBroken,
                      const std::function<bool(Preferences&)>& change) {
  Preferences preferences = Preferences::loadForEditing(userName(user));
  if (preferences.state() == Preferences::State::Broken) {
    const std::string problem = problemOf(preferences, user);
    if (replaceBroken) preferences.discardBroken();
    if (preferences.state() == Preferences::State::Broken) {
      printError(problem + "; nothing was changed");
      return kExitError;
    }
    printError(problem + "; beginning anew");
  }
  if (!change(preferences)) return kExitError;
  if (preferences.save()) return kExitGood;
  printError(problemOf(preferences, user) + "; nothing was changed");
  return kExitError;
}

}  // namespace sifterra::tools
