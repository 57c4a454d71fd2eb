// `policy check`: what a user's policy says of an address, before any page is seen.
//
// How: the rules are the library's (WFWhitelistUserPreferences, and what the judge does with https). Which
// entry of a list decided is then found by asking the entries one by one, each as a list of its own.
#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "Output.h"
#include "input/ascii.h"
#include "json_text.h"
#include "policies/policy_file.h"
#include "policies/subcommands.h"
#include "sifterra/policy/WFWhitelistSite.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "terminal_text.h"

namespace sifterra::tools {
namespace {

using platform::String;
using UserPreferences = WFWhitelistUserPreferences;

constexpr std::int32_t kFoundOnList = 8;
constexpr std::int32_t kAlwaysAllowHTTPS = 10;

struct Options {
  std::string user;
  std::string url;
  bool json = false;
};

struct Decision {
  enum class Kind { Allowed, Refused, Judged };
  Kind kind = Kind::Allowed;
  std::int32_t evidence = 0;
  std::string reason;
  const NamedList* list = nullptr;  // null when no list decided
  std::string entry;                // of that list; "" for one that every user's list holds
};

const char* nameOf(Decision::Kind kind) {
  switch (kind) {
    case Decision::Kind::Allowed:
      return "allowed";
    case Decision::Kind::Refused:
      return "refused";
    case Decision::Kind::Judged:
      break;
  }
  return "judged";
}

// The first entry of the user's own list that covers the address.
std::string decidingEntry(const UserPreferences& preferences, const Preferences& file, const NamedList& list,
                          const String& url) {
  const platform::URL address = WFWhitelistSite(url).url();
  for (const Preferences::Site& site : file.sites(list.list)) {
    WFWhitelistSiteBuffer entry;
    entry.addURLString(site.address);
    if (preferences.isURL(address, entry)) return site.address.toUTF8();
  }
  return {};
}

Decision decide(const UserPreferences& preferences, const Preferences& file, const std::string& address) {
  const String url = String::fromUTF8Lossy(address);
  Decision decision;
  if (address.starts_with("https://") && preferences.alwaysAllowHTTPS()) {
    decision.evidence = kAlwaysAllowHTTPS;
    decision.reason = "Always allow HTTPS";
    return decision;
  }
  bool shouldFilter = false;
  const auto verdict = preferences.pronounceOnPageURLString(url, &shouldFilter);
  decision.evidence = verdict->evidence();
  decision.reason = verdict->message().toUTF8();
  decision.kind = verdict->restricted() ? Decision::Kind::Refused : Decision::Kind::Allowed;
  if (shouldFilter) {
    decision.kind = Decision::Kind::Judged;
    // The verdict's own reason speaks of no restrictions, and is replaced once the page has been judged.
    decision.reason = "URL is on no list, the page's content decides";
  }
  if (decision.evidence != kFoundOnList) return decision;
  const bool refused = decision.kind == Decision::Kind::Refused;
  decision.list = &listNamed(preferences.whitelistEnabled() ? "sites" : refused ? "deny" : "allow");
  decision.entry = decidingEntry(preferences, file, *decision.list, url);
  return decision;
}

std::string jsonOf(const Decision& decision, const Options& options) {
  Json object;
  object["user"] = options.user;
  object["url"] = options.url;
  object["decision"] = nameOf(decision.kind);
  object["evidence"] = decision.evidence;
  object["reason"] = decision.reason;
  object["list"] = decision.list ? Json(decision.list->name) : Json(nullptr);
  object["entry"] = decision.entry.empty() ? Json(nullptr) : Json(decision.entry);
  return jsonLine(object) + "\n";
}

std::string textOf(const Decision& decision) {
  std::string text = std::string(nameOf(decision.kind)) + "\t" + harmless(decision.reason);
  if (decision.list) {
    text += std::string("\t") + decision.list->name + "\t" +
            (decision.entry.empty() ? "(of every user)" : harmless(decision.entry));
  }
  return text + "\n";
}

// The preferences that pages are judged by. Of a user without a file those are the built-in ones; that there
// is no file is told by the answer, and needs no line in the log.
std::shared_ptr<UserPreferences> preferencesFor(const Preferences& file, const std::string& user) {
  if (file.state() != Preferences::State::Absent)
    return UserPreferences::defaultWhitelistForUser(userName(user));
  auto preferences = std::make_shared<UserPreferences>();
  preferences->setUsername(userName(user));
  return preferences;
}

int runCheck(const Options& options) {
  const std::string scheme = asciiLower(options.url.substr(0, options.url.find("://")));
  if (scheme != "http" && scheme != "https") {
    printError("\"" + options.url + "\" is no http or https address");
    return kExitError;
  }
  const auto file = readPreferences(options.user);
  if (!file) return kExitError;
  const auto preferences = preferencesFor(*file, options.user);
  if (!preferences || preferences->fileState() == UserPreferences::FileState::Broken) {
    printError("the preferences of \"" + options.user + "\" cannot be read");
    return kExitError;
  }
  const Decision decision = decide(*preferences, *file, options.url);
  Output output;
  output.write(options.json ? jsonOf(decision, options) : textOf(decision));
  if (!output.finish()) return kExitError;
  return decision.kind == Decision::Kind::Refused ? kExitRestricted : kExitGood;
}

}  // namespace

Subcommand definePolicyCheck(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("check", "Tell what a user's policy says of an address");
  command->footer(
      "Prints, separated by tabs: allowed, refused or judged (the page's content decides, see \"check "
      "--user\"),\n"
      "the reason, and when a list decided its name and the entry.\n"
      "With --json one object: user, url, decision, evidence (8 found on a list, 9 not, 10 https always\n"
      "passes), reason, list (null when none decided), entry (null also for one that every user has).\n"
      "\n"
      "Exit status: 0 allowed or judged, 1 refused, 2 an error.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy check ann https://www.example.com/games\n"
      "  sifterra policy check --json ann http://games.example | jq -r .entry");
  addUserArgument(*command, options->user);
  command->add_option("URL", options->url, "The address")->required()->type_name("");
  command->add_flag("--json", options->json, "One JSON object");
  return {command, [options] { return runCheck(*options); }};
}

}  // namespace sifterra::tools
