// SiteRecord: the parts of the address are copied once, in lower case, behind the address itself.
#include "policy/SiteRecord.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "platform/KeyedHash.h"
#include "platform/Unicode.h"
#include "sifterra/policy/url_domain.h"
#include "util/string_helpers.h"

namespace sifterra {
namespace {

using platform::String;
using platform::URL;

char lowerASCII(char16_t unit) {
  return static_cast<char>(unit >= u'A' && unit <= u'Z' ? unit | 0x20 : unit);
}

// The units of an ASCII text.
char* copy(std::u16string_view text, char* out) {
  return std::transform(text.begin(), text.end(), out, [](char16_t unit) { return static_cast<char>(unit); });
}

char* copyLower(std::u16string_view text, char* out) {
  return std::transform(text.begin(), text.end(), out, lowerASCII);
}

char* copyLowerBackwards(std::u16string_view text, char* out) {
  return std::transform(text.rbegin(), text.rend(), out, lowerASCII);
}

// The domain with every character folded, which equal domains have in common.
std::string folded(const String& domain) {
  std::u16string text;
  for (std::size_t i = 0; i < domain.length();) {
    platform::appendCharacter(platform::simpleFold(platform::nextCharacter(domain.view(), i)), text);
  }
  return platform::utf8FromUTF16(text);
}

// No host counts as one that begins with "www.".
// Kept: three characters or fewer do not begin with "www." and are split like any other host.
bool coversEveryHostOfDomain(std::u16string_view host) {
  return host.empty() || platform::equalIgnoringCase(host.substr(0, 4), u"www.") ||
         std::count(host.begin(), host.end(), u'.') == 1;
}

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

struct SiteRecord::Parts {
  String address;
  URL url;
  String domain;
};

std::unique_ptr<const SiteRecord> SiteRecord::fromURLString(const String& urlString) {
  Parts parts;
  parts.address = stringByProperlyFixingPercentEscapes(urlString);
  if (parts.address.length() <= kLongestAddress) parts.url = URL::fromString(parts.address);
  parts.domain = hostnameFromSecondLevelDomain(parts.url);
  return make(parts);
}

std::unique_ptr<const SiteRecord> SiteRecord::fromParts(const URL& url, const String& domainName) {
  const String address = url.absoluteString();
  if (address.length() > kLongestAddress) return make({nullptr, nullptr, domainName});
  return make({address, url, domainName});
}

std::unique_ptr<const SiteRecord> SiteRecord::make(const Parts& parts) {
  // What is too long to be a URL is too long to be kept.
  const String address = parts.address.length() <= kLongestAddress ? parts.address : String(u"");
  const String host = parts.url.host();
  const String pathText = parts.url.path();
  const std::u16string_view path = pathText.view().substr(0, pathText.view().find_last_not_of(u'/') + 1);
  const String queryText = path.empty() ? String() : parts.url.query();
  const std::u16string_view query = queryText.view();
  const std::string domain = parts.domain.toUTF8();

  const std::size_t length =
      address.length() + domain.size() + host.length() + 1 + path.size() + 1 + query.size();
  void* block = ::operator new(sizeof(SiteRecord) + length);
  std::unique_ptr<SiteRecord> record(new (block) SiteRecord);
  record->_addressLength = static_cast<std::uint32_t>(address.length());
  record->_domainLength = static_cast<std::uint32_t>(domain.size());
  record->_hostLength = static_cast<std::uint32_t>(host.length());
  record->_pathLength = static_cast<std::uint32_t>(path.size());
  record->_queryLength = static_cast<std::uint32_t>(query.size());
  record->_flags =
      (parts.address ? kHasText : 0U) | (parts.url ? kHasURL : 0U) | (parts.domain ? kHasDomain : 0U) |
      (coversEveryHostOfDomain(host.view()) ? kCoversEveryHost : 0U) | (queryText ? kHasQuery : 0U);
  if (parts.domain) {
    record->_domainHash = platform::keyedHash(isASCII(domain) ? domain : folded(parts.domain));
  }
  char* out = static_cast<char*>(block) + sizeof(SiteRecord);
  out = copy(address.view(), out);
  out = std::copy(domain.begin(), domain.end(), out);
  out = copyLowerBackwards(host.view(), out);
  *out++ = '\0';
  out = copyLower(path, out);
  *out++ = '\0';
  copyLower(query, out);
  return record;
}

String SiteRecord::urlString() const {
  return (_flags & kHasText) != 0 ? String::fromUTF8({chars(), _addressLength}) : String();
}

URL SiteRecord::url() const {
  return hasURL() ? URL::fromString(urlString()) : URL();
}

String SiteRecord::domainName() const {
  return hasDomain() ? String::fromUTF8(domain()) : String();
}

std::string_view SiteRecord::entryKey() const noexcept {
  const std::size_t skipped = coversEveryHost() ? _hostLength : 0;
  return {key() + skipped, std::size_t{_hostLength} - skipped + 2 + _pathLength + _queryLength};
}

bool SiteRecord::sameDomain(const SiteRecord& other) const {
  if (hasDomain() != other.hasDomain() || _domainHash != other._domainHash) return false;
  if (domain() == other.domain()) return true;
  if (isASCII(domain()) && isASCII(other.domain())) return false;
  return platform::equalIgnoringCase(domainName().view(), other.domainName().view());
}

bool SiteRecord::coversAddress(const SiteRecord& candidate) const noexcept {
  if (!coversEveryHost() && !candidate.backwardHost().starts_with(backwardHost())) return false;
  return coversPath(candidate);
}

bool SiteRecord::coversPath(const SiteRecord& candidate) const noexcept {
  if (path().empty()) return true;
  if (!candidate.path().starts_with(path())) return false;
  return !hasQuery() || !candidate.hasQuery() || candidate.query().starts_with(query());
}

}  // namespace sifterra
