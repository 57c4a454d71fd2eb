// WFWhitelistSite: one entry of a list of sites, made from an address.
//
// A site covers the addresses of its domain (hostnameFromSecondLevelDomain) that lie below its host, path and
// query:
//
//   entry.isEqual(visited)              whether the visited address falls under the entry
//   visited.hasMetasitePrefix(entry)    the same by path and query alone, on every host of the domain
//
// Kept: both are asymmetric, and the receiver is the entry in one and the visited address in the other.
// "/games" covers "/gamesroom" (a plain prefix), "kids.example.com" covers "xkids.example.com" (a plain
// suffix), an entry for a bare or a "www." host covers every host of the domain, and an entry without path
// every query.
//
// An address that does not parse makes a site without domain, which is logged. On the receiver's side a null
// domain passes for any; a null host is like a "www." host, a null path like an empty one, a null query
// passes.
//
// The properties may be read and set from several threads at once. Nothing in the library sets them: a list
// files a site under the address that it was made with.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

class SiteRecord;

class WF_API WFWhitelistSite {
 public:
  // initWithURLString: never fails; any text will do, null too.
  explicit WFWhitelistSite(const platform::String& urlString);
  // For the lists: of what was made of an address already.
  explicit WFWhitelistSite(std::unique_ptr<const SiteRecord> record);
  ~WFWhitelistSite();
  WFWhitelistSite(const WFWhitelistSite&) = delete;
  WFWhitelistSite& operator=(const WFWhitelistSite&) = delete;

  // The address with its percent escapes repaired (stringByProperlyFixingPercentEscapes).
  [[nodiscard]] platform::String urlString() const;
  void setUrlString(const platform::String& urlString);
  // The same, parsed; null when it does not parse.
  [[nodiscard]] platform::URL url() const;
  void setUrl(const platform::URL& url);
  // The site's domain, null when there is none. Follows neither setter.
  [[nodiscard]] platform::String domainName() const;

  // The hash of the domain; the same for domains that differ in case only.
  [[nodiscard]] std::size_t hash() const;
  // Whether `candidate` falls under this entry.
  [[nodiscard]] bool isEqual(const WFWhitelistSite& candidate) const;
  // Whether `entry` stands for a part of its domain that this address lies in. Writes two debug lines when
  // the domains agree.
  [[nodiscard]] bool hasMetasitePrefix(const WFWhitelistSite& entry) const;

  // The address in lower case; null when it does not parse.
  [[nodiscard]] platform::String description() const;

  // What the site was made from, for the lists. Lives as long as the site.
  [[nodiscard]] const SiteRecord& record() const noexcept { return *_record; }

 private:
  struct Changes;

  // The record as the setters left it; without an owner unless they were called.
  [[nodiscard]] std::shared_ptr<const SiteRecord> current() const;
  Changes& changes();  // under the lock of the changes

  const std::unique_ptr<const SiteRecord> _record;
  std::atomic<Changes*> _changes{nullptr};  // owned; null until a setter is called
};

}  // namespace sifterra
