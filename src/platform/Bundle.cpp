// Bundle: a directory of resources.
#include "platform/Bundle.h"

#include <dirent.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/FileSystem.h"

namespace sifterra::platform {
namespace {

constexpr std::string_view kLocalizationSuffix = ".lproj";

struct Replacement {
  std::mutex lock;
  std::string directory;
};

Replacement& replacement() {
  static auto& replacement = *new Replacement;  // never destroyed: threads may ask while the process exits
  return replacement;
}

std::optional<std::string> resourceIn(const std::string& directory, std::string_view name,
                                      std::string_view type) {
  std::string file(name);
  if (!type.empty()) file.append(".").append(type);
  // Names come from callers and, for localizations, from users: none may lead out of the bundle.
  if (!isFileName(file)) return std::nullopt;
  std::string path = directory + "/" + file;
  if (!isRegularFile(path)) return std::nullopt;
  return path;
}

}  // namespace

std::optional<Bundle> Bundle::open(std::string directory) {
  while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
  if (!isDirectory(directory)) return std::nullopt;
  return Bundle(std::move(directory));
}

std::optional<Bundle> Bundle::library() {
  std::string replaced;
  {
    const std::lock_guard held(replacement().lock);
    replaced = replacement().directory;
  }
  if (!replaced.empty()) return open(std::move(replaced));
  if (std::optional<Bundle> bundle = open(systemPath(builtInResourceDirectory()))) return bundle;
  return open(builtInResourceDirectory());
}

void Bundle::setLibraryDirectoryForTesting(std::string directory) {
  const std::lock_guard held(replacement().lock);
  replacement().directory = std::move(directory);
}

std::optional<std::string> Bundle::pathForResource(std::string_view name, std::string_view type) const {
  return resourceIn(directory_, name, type);
}

std::optional<std::string> Bundle::pathForResource(std::string_view name, std::string_view type,
                                                   std::string_view localization) const {
  if (!isFileName(localization)) return std::nullopt;
  return resourceIn(directory_ + "/" + std::string(localization).append(kLocalizationSuffix), name, type);
}

std::vector<std::string> Bundle::localizations() const {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(directory_.c_str()), &::closedir);
  if (!entries) return names;
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string_view name = entry->d_name;
    if (name.size() <= kLocalizationSuffix.size() || !name.ends_with(kLocalizationSuffix)) continue;
    if (!isDirectory(directory_ + "/" + std::string(name))) continue;
    names.emplace_back(name.substr(0, name.size() - kLocalizationSuffix.size()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace sifterra::platform
