// URLFuzz: the parser agrees with RFC 3986 read by hand, on what is a reference and on its parts.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "reference/plain_url.h"
#include "sifterra/platform/URL.h"

using sifterra::platform::String;
using sifterra::platform::URL;
namespace plain = sifterra::plain;

namespace {

void require(bool condition) {
  if (!condition) abort();
}

bool same(const String& part, const std::optional<std::string>& expected) {
  return part.isNull() == !expected.has_value() && part.toUTF8() == expected.value_or("");
}

void comparePort(const URL& url, const std::optional<std::string>& digits) {
  require(url.port().has_value() == (digits && !digits->empty()));
  // Leading zeros are not told, and what is beyond 64 bits is the largest number.
  if (!url.port() || digits->size() > 18) return;
  require(*url.port() == std::stoull(*digits));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const String text = String::fromUTF8Lossy(bytes);
  const URL url = URL::fromString(text);
  const std::optional<plain::URLParts> parts = plain::urlParts(text.toUTF8());
  if (!parts) {
    require(url.isNull());
  } else if (!parts->host.value_or("").starts_with('[') ||
             !url.isNull()) {  // IP literals may be malformed inside
    require(!url.isNull());
    require(url.absoluteString() == text);
    require(same(url.scheme(), parts->scheme));
    require(same(url.user(), parts->user));
    require(same(url.password(), parts->password));
    require(same(url.host(), parts->host));
    require(same(url.path(), parts->path));
    require(same(url.query(), parts->query));
    require(same(url.fragment(), parts->fragment));
    comparePort(url, parts->port);
  }
  // Any path comes back from its URL, a zero byte excepted.
  const String path = String::fromUTF8Lossy("/" + bytes);
  if (bytes.find('\0') == std::string::npos) require(URL::fileURL(path).filePath() == path);
  return 0;
}
