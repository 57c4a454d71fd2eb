// WFWhitelistSiteBuffer: a bounded list of sites, oldest first.
//
//   WFWhitelistSiteBuffer list;
//   list.addURLString(String(u"https://www.example.com/"));
//   list.containsURLString(String(u"https://shop.example.com/page"));   // true
//
// Holds 100000 sites; one more drops the oldest. Beside the list stands a set, which membership is asked of:
// a site that an earlier member covers joins the list and not the set.
//
// Kept: dropping a site takes the member that covers it out of the set, the oldest when several do, also when
// a newer copy of the site is still on the list. That copy then counts for the metasite test only.
//
// Each buffer has one recursive lock; every operation may be called from any thread. Sites are made before
// the lock is taken, so a name lookup holds nobody up.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/policy/WFWhitelistSite.h"

namespace sifterra {

class WF_API WFWhitelistSiteBuffer {
 public:
  using Sites = std::vector<std::shared_ptr<WFWhitelistSite>>;

  WFWhitelistSiteBuffer();
  ~WFWhitelistSiteBuffer();
  WFWhitelistSiteBuffer(const WFWhitelistSiteBuffer&) = delete;
  WFWhitelistSiteBuffer& operator=(const WFWhitelistSiteBuffer&) = delete;

  // Appends the site of an address, after making room for it. Nothing when the capacity is 0.
  void addURLString(const platform::String& urlString);
  // The same for each of many addresses in turn, spelled in UTF-8 (what is not counts as U+FFFD). Takes less
  // time and memory than one by one.
  void addURLStrings(std::span<const std::string_view> urlStrings);

  // Whether a member of the set covers the address (WFWhitelistSite::isEqual).
  [[nodiscard]] bool containsURLString(const platform::String& urlString) const;
  // Whether a site of the list does by path and query (WFWhitelistSite::hasMetasitePrefix). While debug lines
  // are written the list is walked oldest first, so that each comparison leaves its trace.
  [[nodiscard]] bool containsMetasitePrefixOfURLString(const platform::String& urlString) const;

  // The capacity. A smaller one drops the oldest sites at once.
  [[nodiscard]] std::uint64_t maxSize() const noexcept;
  void setMaxSize(std::uint64_t maxSize);
  // Drops the oldest sites until at most `size` are left.
  void trimToSize(std::uint64_t size);

  // The number of sites on the list.
  [[nodiscard]] std::uint64_t count() const noexcept;
  // "{http://a.example/, http://b.example/, }", in the order of the list; "{}" when it is empty.
  [[nodiscard]] platform::String description() const;

  // The list and the set as they are now, oldest first. What is set is taken over as it is, whatever the
  // capacity (the set keeps its rule: a site that an earlier member covers does not join); null sites are
  // left out. Neither follows the other.
  [[nodiscard]] Sites siteBuffer() const;
  void setSiteBuffer(const Sites& sites);
  [[nodiscard]] Sites siteSet() const;
  void setSiteSet(const Sites& sites);

 private:
  struct Lists;
  const std::unique_ptr<Lists> _lists;
};

}  // namespace sifterra
