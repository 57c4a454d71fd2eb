#include "input/page_site.h"

#include "input/ascii.h"
#include "sifterra/platform/URL.h"

namespace sifterra::tools {

std::optional<std::string> siteOfURL(const std::string& url) {
  const platform::URL parsed = platform::URL::fromString(platform::String::fromUTF8Lossy(url));
  std::string host = asciiLower(parsed.host().toUTF8());
  if (host.compare(0, 4, "www.") == 0) host.erase(0, 4);
  return host.empty() ? std::nullopt : std::optional(host);
}

}  // namespace sifterra::tools
