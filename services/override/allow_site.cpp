#include "allow_site.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <span>

#include "sifterra/platform/URL.h"
#include "sifterra/policy/SFTUserSettings.h"
#include "sifterra/policy/WFManagedPreferences.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "sifterra/verdict/WFVerdict.h"

namespace sifterra::override_service {
namespace {

using platform::String;
using platform::URL;
using Preferences = WFManagedPreferences;

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(c < 0x80 ? std::tolower(c) : c); });
  return text;
}

// Names and numbers as browsers write them in requests: no escapes, no wildcards, no label without a letter.
// Anything else is an address that only somebody's own form holds, and might be read in two ways.
bool isBrowsersHost(const std::string& host) {
  if (host.front() == '[') return host.back() == ']';
  const bool isOfItsLetters = std::all_of(host.begin(), host.end(), [](unsigned char c) {
    return (c < 0x80 && std::isalnum(c) != 0) || c == '-' || c == '_' || c == '.';
  });
  return isOfItsLetters && host.front() != '.' && host.find("..") == std::string::npos;
}

bool isBrowsersPort(const URL& url) {
  const auto port = url.port();
  return !port || (*port > 0 && *port <= 65535);
}

URL webAddress(const std::string& text) {
  URL url = URL::fromString(String::fromUTF8(text));
  if (url.isNull() || url.host().isNull() || url.host().toUTF8().empty()) return {};
  // "https://www.example.org@elsewhere.example/" is read as the wrong one of its two names.
  if (!url.user().isNull() || !url.password().isNull()) return {};
  if (!isBrowsersHost(url.host().toUTF8()) || !isBrowsersPort(url)) return {};
  const std::string scheme = url.scheme().isNull() ? "" : lowered(url.scheme().toUTF8());
  return scheme == "http" || scheme == "https" ? url : URL();
}

bool passes(const std::string& user, const std::string& url) {
  const auto preferences = WFWhitelistUserPreferences::defaultWhitelistForUser(String::fromUTF8(user));
  if (!preferences) return false;
  bool shouldFilter = false;
  bool foundOnList = false;
  const bool allowed = preferences->isURLAllowed(webAddress(url), nullptr, &shouldFilter, &foundOnList);
  return allowed && !shouldFilter;
}

bool fail(std::string& problem, const std::string& what) {
  problem = what;
  return false;
}

// The problem itself does not say of which file it is.
std::string brokenBecause(const Preferences& preferences) {
  if (preferences.state() != Preferences::State::Broken) return "";
  const std::string path = preferences.path().isNull() ? "no path" : preferences.path().toUTF8();
  return path + ": " + (preferences.problem().isNull() ? "it is broken" : preferences.problem().toUTF8());
}

}  // namespace

std::string listedAddress(const std::string& url, Scope scope) {
  const URL address = webAddress(url);
  if (address.isNull()) return {};
  std::string listed = lowered(address.scheme().toUTF8()) + "://" + lowered(address.host().toUTF8());
  if (const auto port = address.port()) listed += ':' + std::to_string(*port);
  if (scope == Scope::Site) return listed + '/';
  const std::string path = address.path().toUTF8();
  listed += path.empty() ? "/" : path;
  if (!address.query().isNull()) listed += '?' + address.query().toUTF8();
  return listed;
}

std::string siteName(const std::string& url) {
  const URL address = webAddress(url);
  return address.isNull() ? "" : lowered(address.host().toUTF8());
}

bool mayAsk(const std::string& user) {
  SFTUserSettings settings(String::fromUTF8(user));
  return settings.websiteRestrictionType() != kSFTRestrictionNone && settings.overridesAllowed();
}

std::string policyProblem(const std::string& user) {
  return brokenBecause(Preferences::load(String::fromUTF8(user)));
}

bool allowSite(const std::string& user, const std::string& url, const std::string& title, Scope scope,
               std::string& problem) {
  Preferences preferences = Preferences::loadForEditing(String::fromUTF8(user));
  if (preferences.state() == Preferences::State::Absent) return fail(problem, "there is no preference file");
  if (preferences.state() == Preferences::State::Broken) return fail(problem, brokenBecause(preferences));
  const bool byList = preferences.value(Preferences::Switch::AllowListOnly).value_or(false);
  const Preferences::List list = byList ? Preferences::List::Sites : Preferences::List::Allow;
  if (preferences.isMalformed(list)) return fail(problem, "the list in the preference file is no list");
  const Preferences::Site site{String::fromUTF8(listedAddress(url, scope)),
                               byList && !title.empty() ? String::fromUTF8Lossy(title) : String()};
  preferences.add(list, std::span(&site, 1));
  if (!preferences.save()) {
    return fail(problem, preferences.problem().isNull() ? "not saved" : preferences.problem().toUTF8());
  }
  return passes(user, url) || fail(problem, "the list holds the address, but the page is still refused");
}

}  // namespace sifterra::override_service
