// `policy import` and `policy export`: whole lists.
#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Output.h"
#include "input/ByteStream.h"
#include "output_file.h"
#include "policies/SiteList.h"
#include "policies/policy_file.h"
#include "policies/subcommands.h"

namespace sifterra::tools {
namespace {

using platform::String;

// Judging keeps so many sites of a list and forgets the oldest ones (WFWhitelistSiteBuffer.h).
constexpr std::size_t kMostSitesInUse = 100'000;

struct Options {
  std::string user;
  std::string list;
  std::vector<std::string> files;
  std::string form;
  std::string output;
  bool replace = false;
  bool replaceBroken = false;
};

std::string sitesText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " site" : " sites");
}

// Reads one list onto the others, telling its bad lines. False when there was anything to tell.
bool readList(const std::string& file, ListForm form, std::vector<Preferences::Site>& sites, bool titled) {
  const std::string name = file == "-" ? "standard input" : file;
  SiteList list;
  try {
    list = readSiteList(std::make_unique<FileStream>(file), form);
  } catch (const InputError& error) {
    printError(name + ": " + error.what());
    return false;
  }
  for (const ListedSite& site : list.sites) {
    sites.push_back({String::fromUTF8Lossy(site.address),
                     titled && !site.title.empty() ? String::fromUTF8Lossy(site.title) : String()});
  }
  for (const SiteList::BadLine& line : list.badLines) {
    printError(name + ":" + std::to_string(line.number) + ": " + line.problem);
  }
  if (list.badLineCount > list.badLines.size()) {
    printError(name + ": and " + std::to_string(list.badLineCount - list.badLines.size()) +
               " more bad lines");
  }
  return list.badLineCount == 0;
}

int runImport(const Options& options) {
  const NamedList& list = listNamed(options.list);
  std::vector<Preferences::Site> sites;
  bool allGood = true;
  // Before the file is locked: a list may come out of a pipe, and take its time.
  for (const std::string& file : options.files) {
    const ListForm form = listFormNamed(options.form).value_or(ListForm::Auto);
    allGood = readList(file, form, sites, list.list == Preferences::List::Sites) && allGood;
  }
  if (sites.empty() && !allGood) {
    printError("no site was read; nothing was changed");
    return kExitError;
  }
  std::size_t added = 0;
  std::size_t count = 0;
  const int status = changePreferences(options.user, options.replaceBroken, [&](Preferences& preferences) {
    if (!checkList(preferences, list)) return false;
    if (options.replace) preferences.clear(list.list);
    added = preferences.add(list.list, sites);
    count = preferences.sites(list.list).size();
    return true;
  });
  if (status != kExitGood) return status;
  Output output;
  output.write(sitesText(sites.size()) + " read, " + std::to_string(added) + " added to \"" + list.name +
               "\", which holds " + sitesText(count) + "\n");
  if (count > kMostSitesInUse) {
    printError("only the last " + std::to_string(kMostSitesInUse) + " sites of a list are used");
  }
  return output.finish() && allGood ? kExitGood : kExitError;
}

// The list in that form, and how many of its entries the form cannot tell.
struct Exported {
  std::string text;
  std::size_t leftOut = 0;
};

Exported exportedList(const std::vector<Preferences::Site>& sites, ListForm form) {
  Exported exported;
  for (const Preferences::Site& site : sites) {
    const std::string title = site.title == site.address ? std::string() : site.title.toUTF8();
    if (const auto line = siteLine({site.address.toUTF8(), title}, form)) {
      exported.text.append(*line).append("\n");
    } else {
      ++exported.leftOut;
    }
  }
  return exported;
}

int runExport(const Options& options) {
  const NamedList& list = listNamed(options.list);
  const auto preferences = readPreferences(options.user);
  if (!preferences || !checkList(*preferences, list)) return kExitError;
  const ListForm form = listFormNamed(options.form).value_or(ListForm::Urls);
  const Exported exported = exportedList(preferences->sites(list.list), form);
  if (!writeResult(options.output, exported.text)) return kExitError;
  if (exported.leftOut == 0) return kExitGood;
  printError(sitesText(exported.leftOut) + " cannot be told in this form; \"--format urls\" tells most");
  return kExitError;
}

void addFormOption(CLI::App& command, std::string& form, bool automatic) {
  std::vector<std::string> names = {"domains", "hosts", "squid", "squidguard", "urls"};
  if (automatic) names.insert(names.begin(), "auto");
  command
      .add_option("--format", form,
                  automatic ? "Form of the lines: auto, domains, hosts, squid, squidguard or urls"
                            : "Form of the lines: domains, hosts, squid, squidguard or urls")
      ->type_name("FORM")
      ->check(CLI::IsMember(names).description(""));
}

}  // namespace

Subcommand definePolicyImport(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("import", "Add lists of sites to a user's list");
  command->footer(
      "FILE is a list, plain or gzipped, or \"-\" for standard input. Each line tells its form by itself, "
      "unless\n"
      "--format says that all have one:\n"
      "  domains      example.com\n"
      "  hosts        0.0.0.0 example.com www.example.com\n"
      "  squid        .example.com\n"
      "  squidguard   example.com/path\n"
      "  urls         https://example.com/path, and behind a tab the title of its page\n"
      "Comments begin with \"#\". A bad line is told with its number (the first 20 of a file), and the "
      "others are\n"
      "imported; the exit status is 2 then. Judging uses the last 100000 sites of a list.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy import ann deny /etc/hosts.blocked\n"
      "  sifterra policy import ann deny blacklists/games/domains blacklists/games/urls\n"
      "  curl -s https://lists.example/kids.txt | sifterra policy import --replace ann sites -");
  addUserArgument(*command, options->user);
  addListArgument(*command, options->list);
  command->add_option("FILE", options->files, "Lists of sites, or \"-\"")->required()->type_name("");
  addFormOption(*command, options->form, true);
  command->add_flag("--replace", options->replace, "In place of what the user's list holds");
  addReplaceBrokenOption(*command, options->replaceBroken);
  return {command, [options] { return runImport(*options); }};
}

Subcommand definePolicyExport(CLI::App& policy) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = policy.add_subcommand("export", "Print a user's list");
  command->footer(
      "One site a line, oldest first, in a form that \"policy import\" reads: urls (addresses as they are, "
      "titles\n"
      "behind a tab) or another, see there. Entries that the form cannot tell, as a list of domains cannot "
      "tell\n"
      "paths, are left out and counted on standard error; the exit status is 2 then.\n"
      "\n"
      "Examples:\n"
      "  sifterra policy export ann deny\n"
      "  sifterra policy export ann deny --format squid -o /etc/squid/blocked");
  addUserArgument(*command, options->user);
  addListArgument(*command, options->list);
  addFormOption(*command, options->form, false);
  command->add_option("-o,--output", options->output, "File to write in place of standard output")
      ->type_name("FILE");
  return {command, [options] { return runExport(*options); }};
}

}  // namespace sifterra::tools
