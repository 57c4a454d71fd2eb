// `policy show`: a user's file, for people and as JSON.
#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "Output.h"
#include "json_text.h"
#include "policies/policy_file.h"
#include "policies/subcommands.h"
#include "terminal_text.h"

namespace sifterra::tools {
namespace {

constexpr std::size_t kMostSitesShown = 10;
constexpr std::size_t kLabelColumns = 17;

struct Options {
  std::string user;
  bool json = false;
};

const char* stateName(Preferences::State state) {
  switch (state) {
    case Preferences::State::Absent:
      return "absent";
    case Preferences::State::Read:
      return "read";
    case Preferences::State::Broken:
      break;
  }
  return "broken";
}

const char* formatName(const Preferences& preferences) {
  return preferences.format() == platform::PropertyList::Format::XML ? "XML" : "binary";
}

Json siteJson(const Preferences::Site& site, Preferences::List list) {
  if (list != Preferences::List::Sites) return jsonText(site.address);
  Json object;
  object["address"] = jsonText(site.address);
  object["title"] = jsonText(site.title);
  return object;
}

std::string jsonOf(const Preferences& preferences, const std::string& user) {
  const bool isRead = preferences.state() == Preferences::State::Read;
  Json object;
  object["user"] = user;
  object["path"] = jsonText(preferences.path());
  object["state"] = stateName(preferences.state());
  object["problem"] = jsonText(preferences.problem());
  object["format"] = isRead ? Json(formatName(preferences)) : Json(nullptr);
  for (const NamedSwitch& which : kNamedSwitches) {
    object[which.option] = preferences.value(which.which) ? Json(isOn(preferences, which)) : Json(nullptr);
  }
  for (const NamedList& list : kNamedLists) {
    Json sites = Json::array();
    for (const Preferences::Site& site : preferences.sites(list.list))
      sites.push_back(siteJson(site, list.list));
    object[list.name] = preferences.isMalformed(list.list) ? Json(nullptr) : std::move(sites);
  }
  Json others = Json::array();
  for (const platform::String& key : preferences.otherKeys()) others.push_back(jsonText(key));
  object["otherKeys"] = std::move(others);
  return jsonLine(object) + "\n";
}

std::string labelled(std::string label, const std::string& value) {
  label.resize(std::max(label.size() + 1, kLabelColumns), ' ');
  return label + value + "\n";
}

std::string listText(const Preferences& preferences, const NamedList& list) {
  if (preferences.isMalformed(list.list)) {
    return std::string("\nThe value of the list \"") + list.name + "\" is no list, and is not used.\n";
  }
  const auto sites = preferences.sites(list.list);
  std::string text = "\n" + std::to_string(sites.size()) + (sites.size() == 1 ? " site " : " sites ") +
                     list.meaning + " (" + list.name + ")\n";
  for (std::size_t i = 0; i < std::min(sites.size(), kMostSitesShown); ++i) {
    text += "  " + harmless(sites[i].address.toUTF8());
    if (sites[i].title) text += "  " + harmless(sites[i].title.toUTF8());
    text += "\n";
  }
  if (sites.size() > kMostSitesShown) {
    text += "  and " + std::to_string(sites.size() - kMostSitesShown) +
            " more (\"policy export\" lists them all)\n";
  }
  return text;
}

// What a reader would not guess from the switches.
std::string notes(bool restricted, bool filter, bool allowListOnly) {
  std::string text;
  if (!restricted && (filter || allowListOnly)) {
    text +=
        "Restrictions are off: https pages always pass, and browsers that ask whether to filter do not.\n";
  }
  if (filter && allowListOnly) {
    text +=
        "Both modes are on: allow-list-only mode decides, and the block page is that of the content "
        "filter.\n";
  }
  if (restricted && !filter && !allowListOnly) text += "Neither mode is on: nothing is restricted.\n";
  return text.empty() ? text : "\n" + text;
}

std::string textOf(const Preferences& preferences, const std::string& user) {
  const bool isRead = preferences.state() == Preferences::State::Read;
  std::string text = labelled("user", harmless(user));
  text += labelled("file", harmless(preferences.path().toUTF8()) +
                               (isRead ? std::string(" (") + formatName(preferences) + ")" : " (absent)"));
  if (!isRead) return text + "\nThere is no such file: the user is not restricted.\n";
  for (const NamedSwitch& which : kNamedSwitches) {
    text += labelled(which.label, isOn(preferences, which) ? "on" : "off");
  }
  std::string others;
  for (const platform::String& key : preferences.otherKeys()) {
    others += (others.empty() ? "" : ", ") + harmless(key.toUTF8());
  }
  if (!others.empty()) text += labelled("other keys", others);
  text += notes(isOn(preferences, kNamedSwitches[0]), isOn(preferences, kNamedSwitches[1]),
                isOn(preferences, kNamedSwitches[2]));
  for (const NamedList& list : kNamedLists) text += listText(preferences, list);
  return text;
}

int runShow(const Options& options) {
  const Preferences preferences = Preferences::load(userName(options.user));
  const bool broken = preferences.state() == Preferences::State::Broken;
  Output output;
  if (options.json) {
    output.write(jsonOf(preferences, options.user));
  } else if (!broken) {
    output.write(textOf(preferences, options.user));
  }
  if (!output.finish()) return kExitError;
  return readPreferences(options.user) ? kExitGood : kExitError;  // says why it is broken
}

}  // namespace

Subcommand definePolicyShow(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("show", "Show what a user may see");
  command->footer(
      "The switches of the user's file, its lists (the first ten sites of each) and the keys that are not\n"
      "known here. A broken file is an error that tells why; its user is not restricted.\n"
      "\n"
      "With --json one object: user, path, state (\"absent\", \"read\", \"broken\"), problem (null unless "
      "broken),\n"
      "format (\"XML\", \"binary\"), the switches restrict, filter, allow-list-only, always-https, "
      "overrides\n"
      "(null when the file does not tell), the lists allow, deny (addresses) and sites (address, title) in\n"
      "full, otherKeys.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy show ann\n"
      "  sifterra policy show --json ann | jq -r '.deny[]'");
  addUserArgument(*command, options->user);
  command->add_flag("--json", options->json, "One JSON object");
  return {command, [options] { return runShow(*options); }};
}

}  // namespace sifterra::tools
