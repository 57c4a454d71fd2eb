// LinuxPreferenceStore: three places, asked in turn.
#include "platform/LinuxPreferenceStore.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "platform/FileSystem.h"
#include "platform/locale_settings.h"
#include "sifterra/platform/PropertyList.h"

namespace sifterra::platform {
namespace {

constexpr std::size_t kMaximumSettingsBytes = 64 * 1024;  // of a file with some ten lines

// What the user's managed preferences hold for the key.
std::vector<String> managedStrings(const std::string& name, std::u16string_view key) {
  const std::string path = "/Library/Managed Preferences/" + name + "/com.vendrel.preferences.plist";
  const PropertyList value = PropertyList::readFile(systemPath(path)).value[key];
  std::vector<String> strings;
  if (String only = value.string()) strings.push_back(std::move(only));
  for (const PropertyList& element : value.array()) {
    if (String string = element.string()) strings.push_back(std::move(string));
  }
  return strings;
}

std::string contentsOf(const std::string& path) {
  return readFile(systemPath(path), kMaximumSettingsBytes).value_or(std::string());
}

}  // namespace

std::vector<String> LinuxPreferenceStore::ownStringsForKey(std::u16string_view key,
                                                           const String& userName) const {
  const std::string name = userName.toUTF8();
  if (!isFileName(name)) return {};
  std::vector<String> strings = managedStrings(name, key);
  if (strings.empty() && key == kPreferredLanguagesKey)
    strings = languagesOfAccount(contentsOf("/var/lib/AccountsService/users/" + name));
  return strings;
}

std::vector<String> LinuxPreferenceStore::stringsForKey(std::u16string_view key,
                                                        const String& userName) const {
  std::vector<String> strings = ownStringsForKey(key, userName);
  if (key != kPreferredLanguagesKey) return strings;
  for (const char* path : {"/etc/default/locale", "/etc/locale.conf"}) {
    if (strings.empty()) strings = languagesOfSystem(contentsOf(path));
  }
  return strings;
}

}  // namespace sifterra::platform
