// WFWhitelistUserPreferences: who asks is given an object from the cache; the decision in its documented
// order. preference_file.cpp fills objects from files.
#include "sifterra/policy/WFWhitelistUserPreferences.h"

#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include "platform/FileSystem.h"
#include "platform/Unicode.h"
#include "policy/built_in_sites.h"
#include "policy/managed_preferences.h"
#include "policy/metasites.h"
#include "policy/preference_cache.h"
#include "policy/preference_file.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "util/log.h"
#include "util/string_helpers.h"

namespace sifterra {

using platform::String;
using platform::URL;

std::shared_ptr<WFWhitelistUserPreferences> WFWhitelistUserPreferences::defaultWhitelistForUser(
    const String& username) {
  constexpr auto kOp = "+[WFWhitelistUserPreferences defaultWhitelistForUser:]";
  if (!username) {
    logError("%s -- username is nil", kOp);
    return nullptr;
  }
  const auto path = managedPreferencePath(username);
  if (!path) {
    logError("%s -- Path was nil for username %@", kOp, username);
    return nullptr;
  }
  const String pathString = String::fromUTF8Lossy(*path);
  if (platform::fileExists(*path)) return cachedWhitelistForPath(pathString, username);
  // What is there may still be something that leads nowhere or may not be looked at: then it is not absent.
  const PreferenceFile file(pathString);
  if (file.hasContents()) return cachedWhitelistForPath(pathString, username);  // it has just appeared
  logDefault("%s -- No website restrictions user preferecences file found: setting unrestricted settings",
             kOp);
  auto preferences = std::make_shared<WFWhitelistUserPreferences>();
  preferences->setUsername(username);
  file.noteState(*preferences);
  return preferences;
}

WFWhitelistUserPreferences::WFWhitelistUserPreferences()
    : _filterWhitelist(std::make_unique<WFWhitelistSiteBuffer>()),
      _filterBlacklist(std::make_unique<WFWhitelistSiteBuffer>()),
      _webWhitelist(std::make_unique<WFWhitelistSiteBuffer>()) {
  addBuiltInSites();
}

WFWhitelistUserPreferences::~WFWhitelistUserPreferences() = default;

std::shared_ptr<WFWhitelistUserPreferences> WFWhitelistUserPreferences::initWithPreferences(
    const String& path) {
  return PreferenceFile(path).preferences();
}

void WFWhitelistUserPreferences::addBuiltInSites() {
  _filterWhitelist->addURLString(String(kAccountSetupSite));
  _webWhitelist->addURLString(String(kAccountSetupSite));
  for (const char16_t* site : kSignInAndHelpSites) _webWhitelist->addURLString(String(site));
}

bool WFWhitelistUserPreferences::isURL(const URL& url, const WFWhitelistSiteBuffer& onList) const {
  constexpr auto kOp = "-[WFWhitelistUserPreferences isURL:onList:]";
  if (!url) return false;
  const bool metasite = isURLMetasite(url);
  const bool secure = url.scheme().view() == u"https";
  const String text = stringByProperlyFixingPercentEscapes(url.absoluteString());
  // Kept: secure addresses of such hosts are compared as whole sites.
  if (metasite && !secure) {
    logInfo("%s -- checking meta-site", kOp);
    return onList.containsMetasitePrefixOfURLString(text);
  }
  return onList.containsURLString(text);
}

bool WFWhitelistUserPreferences::isURLAllowed(const URL& url, String* reason, bool* shouldFilter,
                                              bool* foundOnList) const {
  const String user = username();
  std::u16string text(user ? user.view() : u"User (null)");
  text += u" has no web restrictions";
  bool allowed = true;
  bool found = false;
  if (_whitelistEnabled) {
    allowed = found = isURL(url, *_webWhitelist);
    text = found ? u"URL is on global white list" : u"URL is not on global white list";
  } else if (_filterEnabled) {
    if (isURL(url, *_filterWhitelist)) {
      found = true;
      text = u"URL is on filter white list";
    } else if (isURL(url, *_filterBlacklist)) {
      allowed = false;
      found = true;
      text = u"URL is on filter black list";
    }
    // Kept: an address on neither list "has no web restrictions", though the filter is on.
  }
  if (reason) *reason = String(std::move(text));
  if (shouldFilter) *shouldFilter = _filterEnabled && !found && !_whitelistEnabled;
  if (foundOnList) *foundOnList = found;
  return allowed;
}

bool WFWhitelistUserPreferences::isURLAllowed(const URL& url) const {
  return isURLAllowed(url, nullptr, nullptr, nullptr);
}

std::shared_ptr<WFVerdict> WFWhitelistUserPreferences::pronounceOnPageURLString(const String& urlString,
                                                                                bool* shouldFilter) const {
  constexpr auto kOp = "-[WFWhitelistUserPreferences pronounceOnPageURLString:shouldFilter:]";
  auto verdict = std::make_shared<WFVerdict>();
  verdict->setURL(urlString);
  const String fixed = stringByProperlyFixingPercentEscapes(urlString);
  const URL url = fixed ? URL::fromString(fixed) : URL();
  if (!url) logError("%s -- URL (rawdata: %{public}@) is nil", kOp, fixed);

  String reason;
  bool filter = false;
  bool found = false;
  const bool allowed = isURLAllowed(url, &reason, &filter, &found);
  if (shouldFilter) *shouldFilter = filter;
  verdict->setRestricted(!allowed);
  verdict->setEvidence(found ? kWFEvidenceListed : kWFEvidenceNotListed);
  verdict->setMessage(reason);
  logInfo(
      "%s -- URL: %{public}@ %s allowed (%{public}@), %s check LSM", kOp,
      [&] { return url.absoluteString(); }, allowed ? "is" : "is NOT", reason, filter ? "will" : "will NOT");
  return verdict;
}

String WFWhitelistUserPreferences::username() const {
  const std::lock_guard lock(_usernameLock);
  return _username;
}

void WFWhitelistUserPreferences::setUsername(const String& username) {
  const std::lock_guard lock(_usernameLock);
  _username = username;
}

String WFWhitelistUserPreferences::description() const {
  std::array<char, 32> address{};
  (void)std::snprintf(address.data(), address.size(), "%p", static_cast<const void*>(this));
  const String user = username();
  std::u16string text = u"<WFWhitelistUserPreferences:";
  text += platform::utf16FromUTF8Lossy(address.data());
  text.append(u" username:").append(user ? user.view() : u"(null)");
  text.append(u" filterEnabled:").append(_filterEnabled ? u"1" : u"0");
  text.append(u" whitelistEnabled:").append(_whitelistEnabled ? u"1" : u"0");
  text.append(u" filterWhitelist:").append(_filterWhitelist->description().view());
  text.append(u" filterBlacklist:").append(_filterBlacklist->description().view());
  text.append(u" webWhitelist:").append(_webWhitelist->description().view()).append(u">");
  return String(std::move(text));
}

}  // namespace sifterra
