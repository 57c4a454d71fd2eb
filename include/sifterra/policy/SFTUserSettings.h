// SFTUserSettings: the raw settings of one user's preference file, for what shows them.
//
//   SFTUserSettings settings(user);
//   if (settings.websiteRestrictionType() == kSFTRestrictionNone) return;  // nothing is filtered
//
// The file is read at the first question that finds it, and kept for the life of the object. It is read here
// afresh, not through the preferences' cache, and never logged about: what cannot be read is no settings at
// all. An object is used by one thread; userName alone may be read and set from several.
#pragma once

#include <cstdint>
#include <mutex>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// What websiteRestrictionType answers.
enum : std::int32_t {
  kSFTRestrictionNone = 1,           // no file, or nothing in it restricts
  kSFTRestrictionContentFilter = 2,  // pages are judged by their content
  kSFTRestrictionAllowListOnly = 3,  // only the listed sites
};

class WF_API SFTUserSettings {
 public:
  // initWithUserName: nothing is read yet.
  explicit SFTUserSettings(platform::String userName);

  // Kept: the content filter is asked before the allow list, the reverse of the order in which the
  // preferences decide. With both on this is 2, while pages are judged by the allow list alone.
  [[nodiscard]] std::int32_t websiteRestrictionType();
  // The values of "filterWhitelist" and "siteWhitelist" as they stand in the file, whatever their kind; null
  // when there are none.
  [[nodiscard]] platform::PropertyList contentFilterOverriddenSites();
  [[nodiscard]] platform::PropertyList whiteListAllowedSites();
  // Whether the user may ask for a blocked page to be let through; unless the file says no, yes.
  [[nodiscard]] bool overridesAllowed();

  [[nodiscard]] platform::String userName() const;
  void setUserName(const platform::String& userName);

 private:
  // The dictionary, or null; once one was read the name is not looked at again.
  [[nodiscard]] const platform::PropertyList& _userSettingsForUser(const platform::String& name);

  platform::PropertyList _userSettings;
  mutable std::mutex _userNameLock;
  platform::String _userName;
};

}  // namespace sifterra
