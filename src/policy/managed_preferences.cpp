#include "policy/managed_preferences.h"

#include <string_view>

#include "platform/FileSystem.h"

namespace sifterra {
namespace {

constexpr std::string_view kDirectory = "/Library/Managed Preferences/";
constexpr std::string_view kFile = "/com.vendrel.hearthguard.contentfilter.plist";
constexpr std::size_t kLongestName = 255;  // what platform::isFileName lets through

}  // namespace

std::optional<std::string> managedPreferencePath(const platform::String& username) {
  // Each unit takes a byte at least; longer names need not be converted.
  if (!username || username.length() > kLongestName) return std::nullopt;
  const std::string name = username.toUTF8();
  // User names come from whoever asks: one must not lead out of the directory of its own.
  if (!platform::isFileName(name)) return std::nullopt;
  return platform::systemPath(std::string(kDirectory).append(name).append(kFile));
}

}  // namespace sifterra
