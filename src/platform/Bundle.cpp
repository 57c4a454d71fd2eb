// Bundle: a directory of resources.
#include "platform/Bundle.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <utility>

#include "platform/FileSystem.h"

namespace sifterra::platform {
namespace {
std::mutex& lock() {
  static auto* mutex = new std::mutex;
  return *mutex;
}
std::string& replacement() {
  static auto* directory = new std::string;
  return *directory;
}
}  // namespace

std::optional<Bundle> Bundle::open(std::string directory) {
  if (!isDirectory(directory)) return std::nullopt;
  return Bundle(std::move(directory));
}
void Bundle::setLibraryDirectoryForTesting(std::string directory) {
  const std::lock_guard guard(lock());
  replacement() = std::move(directory);
}
std::optional<Bundle> Bundle::library() {
  {
    const std::lock_guard guard(lock());
    if (!replacement().empty()) return open(replacement());
  }
  if (auto bundle = open(systemPath(builtInResourceDirectory()))) return bundle;
  return open(builtInResourceDirectory());
}
std::optional<std::string> Bundle::pathForResource(std::string_view name, std::string_view type) const {
  std::string path = directory_ + "/" + std::string(name);
  if (!type.empty()) path.append(".").append(type);
  if (!isRegularFile(path)) return std::nullopt;
  return path;
}
std::optional<std::string> Bundle::pathForResource(std::string_view name, std::string_view type,
                                                   std::string_view localization) const {
  return Bundle(directory_ + "/" + std::string(localization) + ".lproj").pathForResource(name, type);
}
std::vector<std::string> Bundle::localizations() const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
    if (entry.path().extension() == ".lproj" && entry.is_directory(error))
      names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace sifterra::platform
