// Sites of any two addresses: the short way of making a record and the long one agree, domain and path are
// those of a plain reading, and each comparison is that of the steps.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/Log.h"
#include "platform/NameLookup.h"
#include "policy/SiteRecord.h"
#include "reference/plain_domain.h"
#include "reference/plain_sites.h"
#include "sifterra/policy/WFWhitelistSite.h"

namespace {

using namespace sifterra;
using platform::String;

void check(bool holds) {
  if (!holds) std::abort();
}

void checkRecord(const String& text) {
  const auto record = SiteRecord::fromURLString(text);
  const auto byStep = SiteRecord::fromURLStringBySteps(text);
  check(record->urlString() == byStep->urlString() && record->domainName() == byStep->domainName());
  check(record->hasURL() == byStep->hasURL() && record->hasQuery() == byStep->hasQuery());
  check(record->entryKey() == byStep->entryKey() && record->pathKey() == byStep->pathKey());
  check(record->backwardHost() == byStep->backwardHost() && record->domainHash() == byStep->domainHash());
  const auto again = SiteRecord::fromURLString(record->urlString());
  check(!record->hasURL() || record->sameDomain(*again) || record->urlString() != again->urlString());
}

void checkReduction(const String& text) {
  const platform::URL url = platform::URL::fromString(text);
  const String domain = hostnameFromSecondLevelDomain(url);
  const auto plain = reference::plainDomain(url);
  check(domain.isNull() == !plain && (!plain || domain.toUTF8() == *plain));
  check(normalizedRelativePath(url).toUTF8() == reference::plainPath(url));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  platform::NameLookup::shared().setEnabled(false);
  platform::Logger::setLevel(platform::LogLevel::Off);
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t line = std::min(input.find('\n'), size);
  const String first = String::fromUTF8Lossy(input.substr(0, line));
  const String second = String::fromUTF8Lossy(input.substr(std::min(size, line + 1)));
  for (const String& text : {first, second}) {
    checkRecord(text);
    checkReduction(text);
  }
  const WFWhitelistSite a(first);
  const WFWhitelistSite b(second);
  const reference::PlainSite plainA(first);
  const reference::PlainSite plainB(second);
  check(a.isEqual(b) == plainA.isEqual(plainB) && b.isEqual(a) == plainB.isEqual(plainA));
  check(a.hasMetasitePrefix(b) == plainA.hasMetasitePrefix(plainB));
  check(b.hasMetasitePrefix(a) == plainB.hasMetasitePrefix(plainA));
  check(a.isEqual(a) && a.hasMetasitePrefix(a));
  check(!plainA.hashesLike(plainB) || a.hash() == b.hash());
  return 0;
}
