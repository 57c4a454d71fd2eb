// URL: Boost.URL's parser decides whether a text is a reference, and where its parts are.
//
// Only the text and the places of the parts are kept; a part becomes a string when it is asked for, because
// most links of a page never are.
#include "sifterra/platform/URL.h"

#include <algorithm>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

// A part of the text; none when absent.
struct Place {
  static constexpr std::size_t kAbsent = std::numeric_limits<std::size_t>::max();
  std::size_t start = kAbsent;
  std::size_t length = 0;
};

}  // namespace

struct URL::Parts {
  String text;
  Place scheme, user, password, host, path, query, fragment;
  std::optional<std::uint64_t> port;

  [[nodiscard]] String part(const Place& place) const {
    if (place.start == Place::kAbsent) return nullptr;
    return String(text.view().substr(place.start, place.length));
  }
};

namespace {

// By value, whatever the zeros in front; one too large for 64 bits is the largest there is, which no server
// has.
std::uint64_t portNumber(std::string_view digits) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t number = 0;
  for (const char c : digits) {
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (number > (kMost - digit) / 10) return kMost;
    number = number * 10 + digit;
  }
  return number;
}

int hexValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  const int lower = c | 0x20;
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The bytes that a percent-encoded text spells. Escapes are known to be well formed.
std::string decodedBytes(std::u16string_view encoded) {
  std::string bytes;
  bytes.reserve(encoded.size());
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] != u'%') {
      bytes += static_cast<char>(encoded[i]);
      continue;
    }
    bytes += static_cast<char>(hexValue(encoded[i + 1]) * 16 + hexValue(encoded[i + 2]));
    i += 2;
  }
  return bytes;
}

// Boost 1.81 takes a host that begins like an IPv4 address for one and stumbles over what follows, as in
// "http://1.2.3.4.5/" or "http://8.8.8.8.example.com/", which are names. With a letter in front it sees a
// name, of the same length at the same place; should the digit stand in a path after all, the letter does no
// harm.
void hideFirstDigitOfHost(std::string& reference) {
  const std::size_t slashes = reference.find("//");
  if (slashes == std::string::npos) return;
  std::size_t host = slashes + 2;
  const std::size_t end = std::min(reference.find_first_of("/?#", host), reference.size());
  const std::size_t at = std::string_view(reference).substr(0, end).find('@', host);
  if (at != std::string_view::npos) host = at + 1;
  if (host < end && reference[host] >= '0' && reference[host] <= '9') reference[host] = 'x';
}

bool standsInPath(char c) {
  constexpr std::string_view kOthers = "-._~/!$&'()*+,;=:@";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kOthers.find(c) != std::string_view::npos;
}

}  // namespace

URL URL::fromString(const String& text) {
  // Units are bytes here: a reference is ASCII, so places in one are places in the other.
  if (!text || !isASCII(text.view())) return nullptr;
  std::string bytes = text.toUTF8();
  hideFirstDigitOfHost(bytes);
  const auto parsed = boost::urls::parse_uri_reference(bytes);
  if (!parsed) return nullptr;
  const boost::urls::url_view& view = *parsed;
  // Boost 1.81 lets a path without a slash follow an authority that breaks off: "http://host:8o/".
  if (view.has_authority() && !view.encoded_path().empty() && view.encoded_path().front() != '/')
    return nullptr;
  const auto place = [&](const auto& part) {
    // An empty part may point anywhere.
    return Place{part.empty() ? 0 : static_cast<std::size_t>(part.data() - bytes.data()), part.size()};
  };
  auto parts = std::make_shared<Parts>();
  parts->text = text;
  if (view.has_scheme()) parts->scheme = place(view.scheme());
  if (view.has_authority()) parts->host = place(view.encoded_host());
  if (view.has_userinfo()) parts->user = place(view.encoded_user());
  if (view.has_password()) parts->password = place(view.encoded_password());
  if (view.has_port() && !view.port().empty()) parts->port = portNumber(view.port());
  parts->path = place(view.encoded_path());
  if (view.has_query()) parts->query = place(view.encoded_query());
  if (view.has_fragment()) parts->fragment = place(view.encoded_fragment());
  URL url;
  url.parts_ = std::move(parts);
  return url;
}

URL URL::fileURL(const String& path) {
  // Without the slash the first name would be read as a host.
  if (!path.view().starts_with(u'/')) return nullptr;
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text = "file://";
  for (const char c : path.toUTF8()) {
    const auto byte = static_cast<unsigned char>(c);
    if (standsInPath(c)) {
      text += c;
    } else {
      text.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return fromString(String::fromUTF8(text));
}

String URL::absoluteString() const {
  return parts_ ? parts_->text : nullptr;
}

String URL::scheme() const {
  return parts_ ? parts_->part(parts_->scheme) : nullptr;
}

String URL::user() const {
  return parts_ ? parts_->part(parts_->user) : nullptr;
}

String URL::password() const {
  return parts_ ? parts_->part(parts_->password) : nullptr;
}

String URL::host() const {
  return parts_ ? parts_->part(parts_->host) : nullptr;
}

std::optional<std::uint64_t> URL::port() const {
  return parts_ ? parts_->port : std::nullopt;
}

String URL::path() const {
  return parts_ ? parts_->part(parts_->path) : nullptr;
}

String URL::query() const {
  return parts_ ? parts_->part(parts_->query) : nullptr;
}

String URL::fragment() const {
  return parts_ ? parts_->part(parts_->fragment) : nullptr;
}

String URL::filePath() const {
  if (!parts_ || !equalIgnoringCase(scheme().view(), u"file")) return nullptr;
  const std::string decoded = decodedBytes(path().view());
  if (decoded.find('\0') != std::string::npos) return nullptr;
  return String::fromUTF8(decoded);
}

}  // namespace sifterra::platform
