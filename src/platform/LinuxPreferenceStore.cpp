// LinuxPreferenceStore: three places, asked in turn.
#include "platform/LinuxPreferenceStore.h"

#include <cstddef>
#include <optional>
#include <string>

#include "platform/FileSystem.h"
#include "platform/locale_settings.h"

namespace sifterra::platform {
namespace {

constexpr std::size_t kMaximumSettingsBytes = 64 * 1024;  // of a file with some ten lines
constexpr std::size_t kMaximumNameBytes = 255;            // of one name on any file system here

// Whether the name can be part of a path: it may not lead anywhere else.
bool namesFile(const std::string& name) {
  return !name.empty() && name.size() <= kMaximumNameBytes && name != "." && name != ".." &&
         name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

std::string contentsOf(const std::string& path) {
  return readFile(systemPath(path), kMaximumSettingsBytes).value_or(std::string());
}

}  // namespace

std::vector<String> LinuxPreferenceStore::stringsForKey(std::u16string_view key,
                                                        const String& userName) const {
  const std::string name = userName.toUTF8();
  std::vector<String> strings;
  if (key != kPreferredLanguagesKey) return strings;
  if (namesFile(name)) strings = languagesOfAccount(contentsOf("/var/lib/AccountsService/users/" + name));
  for (const char* path : {"/etc/default/locale", "/etc/locale.conf"}) {
    if (strings.empty()) strings = languagesOfSystem(contentsOf(path));
  }
  return strings;
}

}  // namespace sifterra::platform
