// preference_file.h: one user's preference file, read once.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/FileSystem.h"
#include "platform/PropertyListTree.h"
#include "sifterra/platform/String.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra {

class PreferenceFile {
 public:
  explicit PreferenceFile(const platform::String& path);

  // Stands for what was read, failures too: files of different contents differ in it, but for rare accidents.
  [[nodiscard]] std::size_t digest() const;
  // The preferences that the file spells, without a user name; the built-in ones when it spells none. Writes
  // the line about a file that cannot be read. Call it once.
  [[nodiscard]] std::shared_ptr<WFWhitelistUserPreferences> preferences() &&;

  // How things stand with the file, without a line in the log.
  [[nodiscard]] bool hasContents() const noexcept { return contents_.bytes.has_value(); }
  void noteState(WFWhitelistUserPreferences& preferences) const;

 private:
  static void readSwitches(platform::PropertyListNode root, WFWhitelistUserPreferences& preferences);
  void readLists(platform::PropertyListTree tree, WFWhitelistUserPreferences& preferences) const;

  platform::String path_;
  platform::FileReading contents_;
};

}  // namespace sifterra
