// plain_sites.h: sites compared one by one, step by step, on the texts of their addresses; lists that are
// walked.
//
// What the sites and buffers of the library are compared with. The helpers on domains and paths are the
// library's own (plain_domain.h has others for those).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Unicode.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"
#include "sifterra/policy/url_domain.h"
#include "util/string_helpers.h"

namespace sifterra::reference {

inline std::u16string lower(const platform::String& text) {
  return platform::lowercased(text.view());
}

struct PlainSite {
  explicit PlainSite(const platform::String& text)
      : urlString(stringByProperlyFixingPercentEscapes(text)),
        url(platform::URL::fromString(urlString)),
        domainName(hostnameFromSecondLevelDomain(url)) {}

  platform::String urlString;
  platform::URL url;
  platform::String domainName;

  [[nodiscard]] bool passesDomain(const PlainSite& argument) const {
    if (!domainName) return true;
    return argument.domainName && platform::equalIgnoringCase(domainName.view(), argument.domainName.view());
  }
  // The hash: equal domains have one.
  [[nodiscard]] bool hashesLike(const PlainSite& other) const {
    return domainName.isNull() == other.domainName.isNull() && passesDomain(other);
  }
  [[nodiscard]] bool isEqual(const PlainSite& candidate) const {
    return passesDomain(candidate) && passesHost(candidate) && passesPath(candidate);
  }
  [[nodiscard]] bool hasMetasitePrefix(const PlainSite& entry) const {
    return passesDomain(entry) && entry.passesPath(*this);
  }

 private:
  [[nodiscard]] bool passesHost(const PlainSite& candidate) const {
    const std::u16string host = lower(url.host());
    if (host.empty() || host.substr(0, 4) == u"www.") return true;
    std::vector<std::u16string> labels(1);
    for (const char16_t unit : host) {
      if (unit == u'.')
        labels.emplace_back();
      else
        labels.back() += unit;
    }
    if (labels.size() == 2) return true;
    return candidate.url.host() && lower(candidate.url.host()).ends_with(host);
  }
  [[nodiscard]] bool passesPath(const PlainSite& candidate) const {
    const std::u16string path = lower(normalizedRelativePath(url));
    const std::u16string other = lower(normalizedRelativePath(candidate.url));
    if (path.empty() || path == u"/") return true;
    if (other.compare(0, path.size(), path) != 0) return false;
    if (!url.query() || !candidate.url.query()) return true;
    return lower(candidate.url.query()).starts_with(lower(url.query()));
  }
};

class PlainSiteBuffer {
 public:
  using Site = std::shared_ptr<const PlainSite>;

  void add(const platform::String& text) {
    if (capacity_ == 0) return;
    const auto site = std::make_shared<const PlainSite>(text);
    trim(capacity_ - 1);
    list.push_back(site);
    if (!covering(*site)) set.push_back(site);
  }
  void trim(std::uint64_t size) {
    while (list.size() > size) {
      if (const auto member = covering(*list.front())) set.erase(set.begin() + *member);
      list.erase(list.begin());
    }
  }
  void setCapacity(std::uint64_t capacity) {
    capacity_ = capacity;
    trim(capacity);
  }
  [[nodiscard]] bool contains(const platform::String& text) const {
    return covering(PlainSite(text)).has_value();
  }
  [[nodiscard]] bool containsPrefix(const platform::String& text) const {
    const PlainSite candidate(text);
    return std::any_of(list.begin(), list.end(),
                       [&](const Site& entry) { return candidate.hasMetasitePrefix(*entry); });
  }

  std::vector<Site> list;
  std::vector<Site> set;  // oldest first

 private:
  [[nodiscard]] std::optional<std::ptrdiff_t> covering(const PlainSite& candidate) const {
    const auto found = std::find_if(set.begin(), set.end(), [&](const Site& member) {
      return member->hashesLike(candidate) && member->isEqual(candidate);
    });
    return found == set.end() ? std::nullopt : std::optional(found - set.begin());
  }

  std::uint64_t capacity_ = 100000;
};

}  // namespace sifterra::reference
