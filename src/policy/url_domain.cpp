// url_domain: a host is split at its dots literally; empty labels count.
#include "sifterra/policy/url_domain.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/NameLookup.h"
#include "platform/Unicode.h"
#include "policy/host_name.h"

namespace sifterra {
namespace {

using platform::String;

constexpr std::size_t kLongestAddress = 15;  // of a dotted IPv4 address: "255.255.255.255"

String hostOf(const platform::URL& url) {
  String host = url.host();
  return host.length() == 0 ? String() : host;
}

// The site of a name. Cut first and put in lower case then: what a letter becomes may depend on the letters
// before it.
String loweredSite(std::u16string_view name) {
  return String(platform::lowercased(siteOfHost(name)));
}

// The name that the name service knows for a numeric host, if any.
String nameOfAddress(std::u16string_view host) {
  if (host.size() > kLongestAddress) return nullptr;
  in_addr address{};
  if (inet_aton(platform::utf8FromUTF16(host).c_str(), &address) == 0) return nullptr;
  const std::optional<std::string> name = platform::NameLookup::shared().nameOf(address.s_addr);
  return name ? String::fromUTF8(*name) : String();
}

}  // namespace

bool _isIPv4DomainAddress(const String& receiver) {
  return isNumericHost(receiver.view());
}

String stringWithMostSignificatDomainPart(const String& receiver) {
  const std::u16string_view name = receiver.view();
  if (isNumericHost(name) || name.find(u'.') == std::u16string_view::npos) return receiver;
  const std::size_t start = lastTwoLabels(name);
  return start == 0 ? receiver : String(name.substr(start));
}

bool hostnameIsIPAddress(const platform::URL& receiver) {
  return isNumericHost(receiver.host().view());
}

String hostnameFromSecondLevelDomain(const platform::URL& receiver) {
  String host = hostOf(receiver);
  if (!host) return nullptr;
  if (!isNumericHost(host.view())) return loweredSite(host.view());
  const String name = nameOfAddress(host.view());
  // Numbers have no case, so a name that is the host itself is the answer as it is.
  if (!name || name == host) return host;
  return loweredSite(name.view());
}

String normalizedRelativePath(const platform::URL& receiver) {
  std::u16string path = platform::lowercased(receiver.path().view());
  path.erase(path.find_last_not_of(u'/') + 1);
  return String(std::move(path));
}

}  // namespace sifterra
