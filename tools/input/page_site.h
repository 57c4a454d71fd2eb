// page_site: the site that a page belongs to.
#pragma once

#include <optional>
#include <string>

namespace sifterra::tools {

// The host of a URL in lower case, without a leading "www."; nothing for a URL without a host.
[[nodiscard]] std::optional<std::string> siteOfURL(const std::string& url);

}  // namespace sifterra::tools
