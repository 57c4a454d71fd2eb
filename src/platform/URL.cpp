// URL: Boost.URL's strict parser; the components are copied out once.
#include "sifterra/platform/URL.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <string>
#include <utility>

namespace sifterra::platform {

struct URL::Parts {
  String text;
  String scheme;
  String user;
  String password;
  String host;
  std::optional<std::uint64_t> port;
  String path;
  String query;
  String fragment;
};

namespace {

template <class View>
String fromView(const View& view) {
  return String::fromUTF8(std::string_view(view.data(), view.size()));
}

}  // namespace

URL URL::fromString(const String& text) {
  if (!text) return nullptr;
  const std::string bytes = text.toUTF8();
  const auto parsed = boost::urls::parse_uri_reference(bytes);
  if (!parsed) return nullptr;
  const boost::urls::url_view& view = *parsed;
  auto parts = std::make_shared<Parts>();
  parts->text = text;
  if (view.has_scheme()) parts->scheme = fromView(view.scheme());
  if (view.has_userinfo()) {
    parts->user = fromView(view.encoded_user());
    if (view.has_password()) parts->password = fromView(view.encoded_password());
  }
  if (view.has_authority()) parts->host = fromView(view.encoded_host());
  if (view.has_port() && !view.port().empty()) {
    std::uint64_t number = 0;
    for (const char digit : view.port()) number = number * 10 + static_cast<std::uint64_t>(digit - '0');
    parts->port = number;
  }
  parts->path = fromView(view.encoded_path());
  if (view.has_query()) parts->query = fromView(view.encoded_query());
  if (view.has_fragment()) parts->fragment = fromView(view.encoded_fragment());
  URL url;
  url.parts_ = std::move(parts);
  return url;
}

URL URL::fileURL(const String& path) {
  std::string text = "file://";
  constexpr char kHex[] = "0123456789ABCDEF";
  for (const char c : path.toUTF8()) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || std::string_view("-._~/!$&'()*+,;=:@").find(c) != std::string_view::npos) {
      text += c;
    } else {
      text += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return fromString(String::fromUTF8(text));
}

String URL::absoluteString() const {
  return parts_ ? parts_->text : nullptr;
}
String URL::scheme() const {
  return parts_ ? parts_->scheme : nullptr;
}
String URL::user() const {
  return parts_ ? parts_->user : nullptr;
}
String URL::password() const {
  return parts_ ? parts_->password : nullptr;
}
String URL::host() const {
  return parts_ ? parts_->host : nullptr;
}
std::optional<std::uint64_t> URL::port() const {
  return parts_ ? parts_->port : std::nullopt;
}
String URL::path() const {
  return parts_ ? parts_->path : nullptr;
}
String URL::query() const {
  return parts_ ? parts_->query : nullptr;
}
String URL::fragment() const {
  return parts_ ? parts_->fragment : nullptr;
}
String URL::filePath() const {
  if (!parts_ || !(parts_->scheme == String(u"file"))) return nullptr;
  const std::string encoded = parts_->path.toUTF8();
  std::string path;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] == '%' && i + 2 < encoded.size()) {
      path += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      path += encoded[i];
    }
  }
  return String::fromUTF8(path);
}

}  // namespace sifterra::platform
