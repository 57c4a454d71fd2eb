// preference_cache.h: the preferences of the process's users, by user name.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "sifterra/platform/String.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra {

// The preferences in the file at the path, for the user: those of the cache when the file's modification date
// is that of the reading, else new ones. The key is the user name alone. Null for a null path only.
[[nodiscard]] std::shared_ptr<WFWhitelistUserPreferences> cachedWhitelistForPath(
    const platform::String& path, const platform::String& username);

// In nanoseconds since 1970; nothing, and a line in the log, when the file has no attributes.
[[nodiscard]] std::optional<std::int64_t> modificationDateForFileAtPath(const platform::String& path);

// Forgets all preferences.
void resetPreferenceCacheForTesting();

}  // namespace sifterra
