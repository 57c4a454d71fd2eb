#include "HttpMessage.h"

#include "ascii_text.h"

namespace sifterra::icap {
namespace {

constexpr std::string_view kHttpsPort = ":443";

// Bytes outside ASCII, blanks and control characters are spelt with percent signs: the library takes URLs as
// text.
std::string spelt(std::string_view address) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(address.size());
  for (const char c : address) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F) {
      text += c;
      continue;
    }
    text += '%';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

std::string_view targetOf(std::string_view requestLine) {
  const std::size_t blank = requestLine.find(' ');
  if (blank == std::string_view::npos) return {};
  std::string_view target = trimmed(requestLine.substr(blank + 1));
  const std::size_t version = target.rfind(' ');
  if (version != std::string_view::npos && target.substr(version + 1, 5) == "HTTP/")
    target = target.substr(0, version);
  return trimmed(target);
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

std::string_view HttpMessage::method() const {
  return requestLine.substr(0, requestLine.find(' '));
}

std::string HttpMessage::url() const {
  std::string_view target = targetOf(requestLine);
  if (target.empty()) return {};
  if (method() == "CONNECT") {
    if (endsWith(target, kHttpsPort)) target.remove_suffix(kHttpsPort.size());
    return spelt("https://" + std::string(target) + "/");
  }
  if (target.front() != '/') return spelt(target);
  if (host.empty()) return {};
  // A proxy in between that tells the path alone: the scheme is a guess by the port.
  const bool secure = endsWith(host, kHttpsPort);
  const std::string_view name = secure ? host.substr(0, host.size() - kHttpsPort.size()) : host;
  return spelt((secure ? "https://" : "http://") + std::string(name) + std::string(target));
}

}  // namespace sifterra::icap
