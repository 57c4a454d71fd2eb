// SiteRecord: the parts of the address are copied once, in lower case, in front of the address itself.
#include "policy/SiteRecord.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "platform/KeyedHash.h"
#include "platform/Unicode.h"
#include "policy/host_name.h"
#include "policy/simple_address.h"
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
std::string folded(std::string_view spelled) {
  const String domain = String::fromUTF8(spelled);
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

// Views of texts that outlive the making of a record.
struct SiteRecord::Parts {
  const HashPlaces* soon = nullptr;  // where the record will be looked for
  bool hasText = false;
  bool hasURL = false;
  bool hasDomain = false;
  bool hasQuery = false;
  std::u16string_view address;
  std::u16string_view host;
  std::u16string_view path;
  std::u16string_view query;
  std::u16string_view domain;  // ASCII, in any case, unless it is spelled
  std::string spelledDomain;   // of other letters, in UTF-8
};

std::unique_ptr<const SiteRecord> SiteRecord::fromURLString(const String& urlString) {
  auto record = fromSimpleAddress(urlString.view(), nullptr);
  return record ? std::move(record) : fromURLStringBySteps(urlString);
}

std::unique_ptr<const SiteRecord> SiteRecord::fromURLString(const String& urlString, RecordMemory& memory,
                                                            const HashPlaces* soon) {
  auto record = fromSimpleAddress(urlString.view(), &memory, soon);
  return record ? std::move(record) : fromURLStringBySteps(urlString);
}

std::unique_ptr<const SiteRecord> SiteRecord::fromURLString(std::u16string_view urlString,
                                                            RecordMemory& memory) {
  auto record = fromSimpleAddress(urlString, &memory);
  return record ? std::move(record) : fromURLStringBySteps(String(urlString));
}

std::unique_ptr<const SiteRecord> SiteRecord::fromSimpleAddress(std::u16string_view urlString,
                                                                RecordMemory* memory,
                                                                const HashPlaces* soon) {
  const std::optional<SimpleAddress> simple = simpleAddress(urlString);
  if (!simple || urlString.length() > kLongestAddress) return nullptr;
  Parts parts;
  parts.soon = soon;
  parts.hasText = parts.hasURL = parts.hasDomain = true;
  parts.hasQuery = simple->hasQuery;
  parts.address = urlString;
  parts.host = simple->host;
  parts.path = simple->path;
  parts.query = simple->query;
  parts.domain = siteOfHost(simple->host);
  return make(parts, memory);
}

std::unique_ptr<const SiteRecord> SiteRecord::fromURLStringBySteps(const String& urlString) {
  const String address = stringByProperlyFixingPercentEscapes(urlString);
  const bool fits = address.length() <= kLongestAddress;
  const URL url = fits ? URL::fromString(address) : URL();
  if (url) return fromParts(url, hostnameFromSecondLevelDomain(url));
  Parts parts;
  parts.hasText = static_cast<bool>(address);
  if (fits) parts.address = address.view();  // what is too long to be a URL is too long to be kept
  return make(parts);
}

std::unique_ptr<const SiteRecord> SiteRecord::fromParts(const URL& url, const String& domainName) {
  Parts parts;
  const String address = url.absoluteString();
  const String host = url.host();
  const String path = url.path();
  const String query = url.query();
  if (url && address.length() <= kLongestAddress) {
    parts.hasText = parts.hasURL = true;
    parts.address = address.view();
    parts.host = host.view();
    parts.path = path.view();
    parts.query = query.view();
    parts.hasQuery = static_cast<bool>(query);
  }
  parts.hasDomain = static_cast<bool>(domainName);
  if (platform::isASCII(domainName.view())) {
    parts.domain = domainName.view();
  } else {
    parts.spelledDomain = domainName.toUTF8();
  }
  return make(parts);
}

std::unique_ptr<const SiteRecord> SiteRecord::make(const Parts& parts, RecordMemory* memory) {
  const std::u16string_view path = parts.path.substr(0, parts.path.find_last_not_of(u'/') + 1);
  const std::u16string_view query = path.empty() ? std::u16string_view() : parts.query;
  const std::size_t domainLength = parts.domain.size() + parts.spelledDomain.size();
  const std::size_t length =
      parts.address.size() + domainLength + parts.host.size() + 1 + path.size() + 1 + query.size();
  void* block = memory ? memory->take(sizeof(SiteRecord) + length) : nullptr;
  const bool inMemory = block != nullptr;
  if (!block) block = ::operator new(sizeof(SiteRecord) + length);
  std::unique_ptr<SiteRecord> record(new (block) SiteRecord);
  record->_addressLength = static_cast<std::uint32_t>(parts.address.size());
  record->_domainLength = static_cast<std::uint32_t>(domainLength);
  record->_hostLength = static_cast<std::uint32_t>(parts.host.size());
  record->_pathLength = static_cast<std::uint32_t>(path.size());
  record->_queryLength = static_cast<std::uint32_t>(query.size());
  record->_flags = (parts.hasText ? kHasText : 0U) | (parts.hasURL ? kHasURL : 0U) |
                   (parts.hasDomain ? kHasDomain : 0U) |
                   (coversEveryHostOfDomain(parts.host) ? kCoversEveryHost : 0U) |
                   (parts.hasQuery && !path.empty() ? kHasQuery : 0U) | (inMemory ? kInMemory : 0U);
  char* out = static_cast<char*>(block) + sizeof(SiteRecord);
  out = copyLower(parts.domain, out);
  out = std::copy(parts.spelledDomain.begin(), parts.spelledDomain.end(), out);
  if (parts.hasDomain) {
    record->_domainHash =
        platform::keyedHash(parts.spelledDomain.empty() ? record->domain() : folded(parts.spelledDomain));
    if (parts.soon) parts.soon->prefetch(record->_domainHash);
  }
  out = copyLowerBackwards(parts.host, out);
  *out++ = '\0';
  out = copyLower(path, out);
  *out++ = '\0';
  out = copyLower(query, out);
  copy(parts.address, out);
  return record;
}

String SiteRecord::urlString() const {
  return (_flags & kHasText) != 0 ? String::fromUTF8({address(), _addressLength}) : String();
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
