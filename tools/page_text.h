// page_text: from what a path holds to the text that is judged.
#pragma once

#include <optional>
#include <string>

#include "input/PageSource.h"
#include "sifterra/platform/String.h"

namespace sifterra::tools {

// The page of a path that must hold exactly one. Nothing, after a message, when it does not.
[[nodiscard]] std::optional<PageRecord> readOnePage(const std::string& path);

// The page's text, by the charset that is given, else by the one that the page came with.
[[nodiscard]] platform::String decodedText(const PageRecord& page, const std::string& charset);
// The same with what judging leaves out: styles, comments, attributes.
[[nodiscard]] platform::String shownText(const PageRecord& page, const std::string& charset);

// A path as the library takes it, told from the root.
[[nodiscard]] platform::String absolutePath(const std::string& path);

}  // namespace sifterra::tools
