// Bundle: the library's resource directory.
//
// Resources lie in one directory, with localised ones in "<language>.lproj" below it. The directory is
// fixed when the library is built (ResourceDirectory.cpp); a root prefix is tried in front of it first.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::platform {

// The directory that was fixed at build time. One source file defines it, so that the build tree's and
// the installed library differ in that file alone.
[[nodiscard]] const char* builtInResourceDirectory() noexcept;

class Bundle {
 public:
  // The bundle at the directory; nothing when there is no such directory.
  [[nodiscard]] static std::optional<Bundle> open(std::string directory);
  // The library's own bundle.
  [[nodiscard]] static std::optional<Bundle> library();
  // For tests: makes library() open another directory; "" restores the built-in one.
  static void setLibraryDirectoryForTesting(std::string directory);

  [[nodiscard]] const std::string& directory() const noexcept { return directory_; }
  // The path of a resource, by name and type ("" for none); nothing when there is no such file, and for a
  // name that holds a slash or a zero byte.
  [[nodiscard]] std::optional<std::string> pathForResource(std::string_view name,
                                                           std::string_view type) const;
  // The same within one localization.
  [[nodiscard]] std::optional<std::string> pathForResource(std::string_view name, std::string_view type,
                                                           std::string_view localization) const;
  // The names of the localizations there are, sorted: "de", "en", "pt-BR".
  [[nodiscard]] std::vector<std::string> localizations() const;

 private:
  explicit Bundle(std::string directory) : directory_(std::move(directory)) {}
  std::string directory_;
};

}  // namespace sifterra::platform
