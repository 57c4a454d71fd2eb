// PreferenceStore: a user's preferences that hold for any application on any host.
//
//   const std::vector<String> languages =
//       PreferenceStore::current().stringsForKey(kPreferredLanguagesKey, userName);
//
// On Linux (LinuxPreferenceStore.cpp) languages come from the first of these that names any:
//   1. the user's managed preferences, "/Library/Managed Preferences/NAME/com.vendrel.preferences.plist", an
//      array of strings (or one string) under the key;
//   2. the account service's record, "/var/lib/AccountsService/users/NAME", "Languages=" then "Language=";
//   3. the system's locale, from "/etc/default/locale", else "/etc/locale.conf".
// All below the root prefix of FileSystem.h, and none of them in the user's hands (the account service lets
// him choose his languages, no more): services judge for users whose homes they cannot read and should not
// trust.
#pragma once

#include <string_view>
#include <vector>

#include "sifterra/platform/String.h"

namespace sifterra::platform {

// The languages a user prefers, most wanted first.
inline constexpr std::u16string_view kPreferredLanguagesKey = u"VendrelLanguages";

class PreferenceStore {
 public:
  PreferenceStore() = default;
  PreferenceStore(const PreferenceStore&) = delete;
  PreferenceStore& operator=(const PreferenceStore&) = delete;
  virtual ~PreferenceStore() = default;

  // The strings that the user's preferences hold for the key; empty when there are none.
  [[nodiscard]] virtual std::vector<String> stringsForKey(std::u16string_view key,
                                                          const String& userName) const = 0;

  // The same without what holds for everybody on the machine.
  [[nodiscard]] virtual std::vector<String> ownStringsForKey(std::u16string_view key,
                                                             const String& userName) const {
    return stringsForKey(key, userName);
  }

  // The store of the process. Thread safe.
  [[nodiscard]] static const PreferenceStore& current();
  // For tests: replaces it; null restores the host's own. The given store must outlive its use.
  static void setCurrentForTesting(const PreferenceStore* store) noexcept;
};

}  // namespace sifterra::platform
