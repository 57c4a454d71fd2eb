// LinuxPreferenceStore: preferences from the files that a Linux system keeps them in; see PreferenceStore.h.
#pragma once

#include <vector>

#include "platform/PreferenceStore.h"

namespace sifterra::platform {

class LinuxPreferenceStore final : public PreferenceStore {
 public:
  [[nodiscard]] std::vector<String> stringsForKey(std::u16string_view key,
                                                  const String& userName) const override;
  [[nodiscard]] std::vector<String> ownStringsForKey(std::u16string_view key,
                                                     const String& userName) const override;
};

}  // namespace sifterra::platform
