// url_domain: a host is split at its dots literally; empty labels count.
#include "sifterra/policy/url_domain.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/NameLookup.h"
#include "platform/Unicode.h"

namespace sifterra {
namespace {

using platform::String;

constexpr std::array<std::u16string_view, 7> kReducedLabels = {u"com", u"edu", u"gov", u"mil",
                                                               u"net", u"org", u"us"};
constexpr std::size_t kLongestAddress = 15;  // of a dotted IPv4 address: "255.255.255.255"

bool isNumeric(std::u16string_view text) {
  return !text.empty() && text.find_first_not_of(u".0123456789") == std::u16string_view::npos;
}

String hostOf(const platform::URL& url) {
  String host = url.host();
  return host.length() == 0 ? String() : host;
}

// Where the second-to-last label starts.
std::size_t lastTwoLabels(std::u16string_view name) {
  const std::size_t dot = name.rfind(u'.');
  const std::size_t before = dot == 0 ? std::u16string_view::npos : name.rfind(u'.', dot - 1);
  return before == std::u16string_view::npos ? 0 : before + 1;
}

// The name reduced to its site. Cut first and put in lower case then: what a letter becomes may depend on the
// letters before it.
std::u16string reducedName(std::u16string_view name) {
  const std::size_t lastDot = name.rfind(u'.');
  if (lastDot == std::u16string_view::npos) return platform::lowercased(name);
  const std::u16string last = platform::lowercased(name.substr(lastDot + 1));
  if (std::find(kReducedLabels.begin(), kReducedLabels.end(), last) != kReducedLabels.end()) {
    return platform::lowercased(name.substr(lastTwoLabels(name)));
  }
  const bool www = platform::equalIgnoringCase(name.substr(0, 4), u"www.");
  return platform::lowercased(name.substr(www ? 4 : 0));
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
  return isNumeric(receiver.view());
}

String stringWithMostSignificatDomainPart(const String& receiver) {
  const std::u16string_view name = receiver.view();
  if (isNumeric(name) || name.find(u'.') == std::u16string_view::npos) return receiver;
  const std::size_t start = lastTwoLabels(name);
  return start == 0 ? receiver : String(name.substr(start));
}

bool hostnameIsIPAddress(const platform::URL& receiver) {
  return isNumeric(receiver.host().view());
}

String hostnameFromSecondLevelDomain(const platform::URL& receiver) {
  const String host = hostOf(receiver);
  if (!host) return nullptr;
  if (!isNumeric(host.view())) return String(reducedName(host.view()));
  const String name = nameOfAddress(host.view());
  // Numbers have no case, so a name that is the host itself is the answer as it is.
  if (!name || name == host) return host;
  return String(reducedName(name.view()));
}

String normalizedRelativePath(const platform::URL& receiver) {
  std::u16string path = platform::lowercased(receiver.path().view());
  path.erase(path.find_last_not_of(u'/') + 1);
  return String(std::move(path));
}

}  // namespace sifterra
