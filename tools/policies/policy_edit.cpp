// `policy add` and `policy remove`: single sites of a user's lists.
#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Output.h"
#include "policies/policy_file.h"
#include "policies/site_line.h"
#include "policies/subcommands.h"

namespace sifterra::tools {
namespace {

using platform::String;

struct Options {
  std::string user;
  std::string list;
  std::vector<std::string> addresses;
  std::string title;
  bool replaceBroken = false;
};

std::string sitesText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " site" : " sites");
}

// The addresses as sites; nothing, after messages, when one is none.
std::optional<std::vector<Preferences::Site>> sitesOf(const Options& options) {
  const String title = options.title.empty() ? String() : String::fromUTF8Lossy(titleLine(options.title));
  std::vector<Preferences::Site> sites;
  for (const std::string& address : options.addresses) {
    const SiteLine line = parseSiteLine(address, ListForm::Urls);
    if (line.sites.empty()) {
      printError(line.problem.empty() ? "\"" + address + "\" is no web address" : line.problem);
    } else {
      sites.push_back({String::fromUTF8Lossy(line.sites.front().address), title});
    }
  }
  if (sites.size() == options.addresses.size()) return sites;
  return std::nullopt;
}

int report(const std::string& change, const NamedList& list, std::size_t count) {
  Output output;
  output.write(change + " \"" + list.name + "\", which holds " + sitesText(count) + "\n");
  return output.finish() ? kExitGood : kExitError;
}

int runAdd(const Options& options) {
  const NamedList& list = listNamed(options.list);
  if (!options.title.empty() && (list.list != Preferences::List::Sites || options.addresses.size() != 1)) {
    printError("--title goes with one address of the list \"sites\"");
    return kExitError;
  }
  const auto sites = sitesOf(options);
  if (!sites) return kExitError;
  std::size_t added = 0;
  std::size_t count = 0;
  const int status = changePreferences(options.user, options.replaceBroken, [&](Preferences& preferences) {
    if (!checkList(preferences, list)) return false;
    added = preferences.add(list.list, *sites);
    count = preferences.sites(list.list).size();
    return true;
  });
  return status == kExitGood ? report(sitesText(added) + " added to", list, count) : status;
}

bool removeExactly(Preferences& preferences, const NamedList& list, const std::string& address) {
  const String entry = String::fromUTF8Lossy(address);
  return preferences.remove(list.list, std::span(&entry, 1)).front();
}

// Takes an address off as it is written, or else as "policy add" would have written it.
bool removeOne(Preferences& preferences, const NamedList& list, const std::string& address) {
  if (removeExactly(preferences, list, address)) return true;
  const SiteLine line = parseSiteLine(address, ListForm::Urls);
  return !line.sites.empty() && removeExactly(preferences, list, line.sites.front().address);
}

int runRemove(const Options& options) {
  const NamedList& list = listNamed(options.list);
  std::size_t removed = 0;
  std::size_t count = 0;
  std::vector<std::string> missing;
  const int status = changePreferences(options.user, false, [&](Preferences& preferences) {
    if (!checkList(preferences, list)) return false;
    const std::size_t before = preferences.sites(list.list).size();
    for (const std::string& address : options.addresses) {
      if (!removeOne(preferences, list, address)) missing.push_back(address);
    }
    count = preferences.sites(list.list).size();
    removed = before - count;
    return true;
  });
  if (status != kExitGood) return status;
  const int reported = report(sitesText(removed) + " removed from", list, count);
  for (const std::string& address : missing) {
    printError(std::string("\"") + list.name + "\" does not hold " + address);
  }
  return missing.empty() ? reported : kExitError;
}

}  // namespace

Subcommand definePolicyAdd(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("add", "Add sites to a user's list");
  command->footer(
      "LIST is \"allow\" or \"deny\" (always allowed, never allowed while the content filter is on; allow\n"
      "wins) or \"sites\" (the only ones in allow-list-only mode). An address without a scheme is http. It\n"
      "stands for its path and all below it, on its host; an address of a bare or a \"www.\" host stands "
      "for\n"
      "every host of the domain. What is on the list already stays where it is.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy add ann deny games.example https://video.example/channel\n"
      "  sifterra policy add ann sites http://library.example --title \"The library\"");
  addUserArgument(*command, options->user);
  addListArgument(*command, options->list);
  command->add_option("ADDRESS", options->addresses, "Addresses of sites")->required()->type_name("");
  command->add_option("--title", options->title, "Title of the site, for the block page (list \"sites\")")
      ->type_name("TEXT");
  addReplaceBrokenOption(*command, options->replaceBroken);
  return {command, [options] { return runAdd(*options); }};
}

Subcommand definePolicyRemove(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("remove", "Remove sites from a user's list");
  command->footer(
      "Removes the entries with these very addresses. One that the list does not hold is an error (exit\n"
      "status 2); the others are removed.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy remove ann deny games.example\n"
      "  sifterra policy export ann deny | grep example | xargs sifterra policy remove ann deny");
  addUserArgument(*command, options->user);
  addListArgument(*command, options->list);
  command->add_option("ADDRESS", options->addresses, "Addresses of entries")->required()->type_name("");
  return {command, [options] { return runRemove(*options); }};
}

}  // namespace sifterra::tools
