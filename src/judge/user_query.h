// user_query.h: the per-user questions in C++ values, for the modules that ask them on.
#pragma once

#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

// What WFIsWebPageToRestrictForUser and WFIsURLToRestrictForUser answer. Null pointers are not written to.
[[nodiscard]] signed char isWebPageToRestrictForUser(const platform::String& user,
                                                     const platform::String& content,
                                                     const platform::String& url, platform::String* title,
                                                     platform::String* message);
[[nodiscard]] signed char isURLToRestrictForUser(const platform::String& user, const platform::URL& url,
                                                 const platform::Data& data, platform::String* title,
                                                 platform::String* message);

}  // namespace sifterra
