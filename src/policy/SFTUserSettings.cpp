#include "sifterra/policy/SFTUserSettings.h"

#include <utility>

#include "policy/managed_preferences.h"

namespace sifterra {

using platform::PropertyList;
using platform::String;

SFTUserSettings::SFTUserSettings(String userName) : _userName(std::move(userName)) {}

std::int32_t SFTUserSettings::websiteRestrictionType() {
  const PropertyList& settings = _userSettingsForUser(userName());
  if (!settings[u"restrictWeb"].truth()) return kSFTRestrictionNone;
  if (settings[u"useContentFilter"].truth()) return kSFTRestrictionContentFilter;
  if (settings[u"whitelistEnabled"].truth()) return kSFTRestrictionAllowListOnly;
  return kSFTRestrictionNone;
}

PropertyList SFTUserSettings::contentFilterOverriddenSites() {
  return _userSettingsForUser(userName())[u"filterWhitelist"];
}

PropertyList SFTUserSettings::whiteListAllowedSites() {
  return _userSettingsForUser(userName())[u"siteWhitelist"];
}

bool SFTUserSettings::overridesAllowed() {
  // Kept: the key is spelled with a doubled d; the files in use have it so.
  return !_userSettingsForUser(userName())[u"noOverriddingAllowed"].truth();
}

String SFTUserSettings::userName() const {
  const std::lock_guard lock(_userNameLock);
  return _userName;
}

void SFTUserSettings::setUserName(const String& userName) {
  const std::lock_guard lock(_userNameLock);
  _userName = userName;
}

const PropertyList& SFTUserSettings::_userSettingsForUser(const String& name) {
  if (_userSettings) return _userSettings;
  if (const auto path = managedPreferencePath(name)) {
    PropertyList::Reading reading = PropertyList::readFile(*path);
    if (reading.value.isDictionary()) _userSettings = std::move(reading.value);
  }
  return _userSettings;
}

}  // namespace sifterra
