// IcapHeadersFuzz: what is made of header values is safe to use where it goes: a user's name in a path, an
// address in the library, languages and types in headers and log lines.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "HttpMessage.h"
#include "Refusal.h"
#include "body_type.h"
#include "content_coding.h"
#include "user_name.h"

using namespace sifterra::icap;

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void checkName(const std::string& name) {
  require(name.size() <= 255 && name != "." && name != "..");
  for (const char c : name) require(c != '/' && static_cast<unsigned char>(c) >= 0x20);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view value(reinterpret_cast<const char*>(data), size);
  checkName(shortName(value));
  for (const NameEncoding encoding : {NameEncoding::Auto, NameEncoding::Plain, NameEncoding::Base64})
    for (const bool mayBeBase64 : {false, true}) checkName(userFromHeader(value, encoding, mayBeBase64));

  HttpMessage message;
  message.requestLine = value;
  const std::size_t half = size / 2;
  message.host = value.substr(half);
  message.fetchDestination = value.substr(0, half);
  const std::string url = message.url();
  require(std::all_of(url.begin(), url.end(), [](char c) { return c > 0x20 && c < 0x7F; }));
  static_cast<void>(destinationOf(message, url));
  static_cast<void>(isToBeShown(message));
  message.fetchDestination = {};
  message.accept = value;
  static_cast<void>(destinationOf(message, url));

  for (const std::string& language : languagesOf(value)) require(!language.empty() && language.size() <= 35);
  std::vector<Coding> codings;
  static_cast<void>(addCodings(value, &codings));
  require(codings.size() <= kMostCodings);
  if (const auto readable = readableEncodings(value)) {
    require(!readable->empty());
    require(!readableEncodings(*readable));  // what stays is all readable
  }
  require(charsetOf(value).size() <= size);
  const std::vector<std::string> charsets = charsetsOf({value, value.substr(half)});
  require(!charsets.empty() && charsets.size() <= kMostCharsets + 1);
  static_cast<void>(isPage(bodyType(value), value));
  return 0;
}
