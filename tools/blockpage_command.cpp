// How: as the streaming evaluator fills the page, from the user's settings, but for what the options say.
#include "blockpage_command.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Output.h"
#include "c_objects.h"
#include "current_user.h"
#include "output_file.h"
#include "sifterra/blockpage/WFBlockPage.h"
#include "sifterra/policy/SFTUserSettings.h"
#include "sifterra/sifterra.h"

namespace sifterra::tools {
namespace {

using platform::String;

// Where the override form is sent: the override service of this machine.
constexpr std::u16string_view kOverrideService = u"http://127.0.0.1:10011/webcontentfilter.override.local";

enum class Kind { Override, NetworkOverride, AllowList, NetworkAllowList, NoOverride, Error };

const std::map<std::string, Kind>& kinds() {
  static const std::map<std::string, Kind> kKinds = {{"blockpage", Kind::Override},
                                                     {"blockpage-net", Kind::NetworkOverride},
                                                     {"blockpage-wl", Kind::AllowList},
                                                     {"blockpage-net-wl", Kind::NetworkAllowList},
                                                     {"blockpage-nooverride", Kind::NoOverride},
                                                     {"error", Kind::Error}};
  return kKinds;
}

struct Options {
  std::string user;
  std::string kind;
  std::vector<std::string> languages;
  std::string url;
  std::string title;
  std::string output;
};

// The base64 text of a string.
String base64Of(const std::string& text) {
  const CString string = stringObject(String::fromUTF8Lossy(text));
  const char* encoded = WFStringGetUTF8(NS64BaseStringFromString(string.get()));
  return encoded ? String::fromUTF8(encoded) : String();
}

Kind kindFor(SFTUserSettings& settings) {
  if (!settings.overridesAllowed()) return Kind::NoOverride;
  return settings.websiteRestrictionType() == kSFTRestrictionAllowListOnly ? Kind::AllowList : Kind::Override;
}

WFBlockPage blockPage(Kind kind, const String& user) {
  if (kind == Kind::Error) return WFBlockPage::initWithErrorPage();
  if (kind == Kind::NoOverride) return WFBlockPage::initNoOveridePageWithUsername(user);
  return {user, kind == Kind::AllowList || kind == Kind::NetworkAllowList,
          kind == Kind::NetworkOverride || kind == Kind::NetworkAllowList};
}

int runBlockPage(const Options& options) {
  const String user = String::fromUTF8Lossy(options.user.empty() ? currentUserName() : options.user);
  SFTUserSettings settings(user);
  WFBlockPage page = blockPage(options.kind.empty() ? kindFor(settings) : kinds().at(options.kind), user);
  std::vector<String> languages;
  for (const std::string& language : options.languages) languages.push_back(String::fromUTF8Lossy(language));
  if (!languages.empty() && !page.preferLanguages(languages)) {
    printError("no block page is written in " + options.languages.front());
    return kExitError;
  }
  page.setUserVisibleURLString(String::fromUTF8Lossy(options.url));
  page.setFormPostToURLString(String(kOverrideService));
  page.setFormRestrictedPageURLString(base64Of(options.url));
  if (!options.title.empty()) page.setFormRestrictedPageTitle(base64Of(options.title));
  if (page.isWhitelistBlock()) page.setAllowedWebSites(settings.whiteListAllowedSites());
  const String html = page.page();
  if (!html) {
    printError("the block page cannot be made: its template is missing");
    return kExitError;
  }
  return writeResult(options.output, html.toUTF8()) ? kExitGood : kExitError;
}

}  // namespace

Action defineBlockPageCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "Prints the page that stands for a refused one: for the user's policy and in the user's language, "
      "unless\n"
      "--kind and --language say otherwise. Kinds: blockpage (asks for an override), blockpage-wl (offers "
      "the\n"
      "sites of the allow list), blockpage-net and blockpage-net-wl (the same for a network account),\n"
      "blockpage-nooverride, error.\n"
      "\n"
      "Examples:\n"
      "  sifterra blockpage --url http://example.com/ --title Example > blocked.html\n"
      "  sifterra blockpage --user ann --url http://example.com/ -o blocked.html\n"
      "  sifterra blockpage --kind blockpage-nooverride --language ar --url http://example.com/ -o ar.html");
  command.add_option("--url", options->url, "Address of the refused page")->required()->type_name("URL");
  command.add_option("--title", options->title, "Title of the refused page")->type_name("TEXT");
  command.add_option("--user", options->user, "The user that it is for, by default you")->type_name("NAME");
  std::vector<std::string> names;
  for (const auto& [name, kind] : kinds()) names.push_back(name);
  command.add_option("--kind", options->kind, "Which of the block pages")
      ->type_name("KIND")
      ->check(CLI::IsMember(names).description(""));
  command.add_option("--language", options->languages, "Languages, most wanted first: de or pt-BR,es")
      ->type_name("TAG,...")
      ->delimiter(',');
  command.add_option("-o,--output", options->output, "File to write in place of standard output")
      ->type_name("FILE");
  return [options] { return runBlockPage(*options); };
}

}  // namespace sifterra::tools
