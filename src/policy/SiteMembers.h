// SiteMembers: the sites of an index by number.
//
// What a search reads of all of them (the records) lies close together, apart from what it does not.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "policy/SiteRecord.h"
#include "sifterra/policy/WFWhitelistSite.h"

namespace sifterra {

class SiteMembers {
 public:
  using Id = std::uint32_t;
  using Site = std::shared_ptr<WFWhitelistSite>;
  static constexpr Id kNone = 0xFFFFFFFF;

  [[nodiscard]] const SiteRecord& record(Id id) const { return *_records[id]; }
  [[nodiscard]] std::uint64_t order(Id id) const { return _orders[id]; }
  // The next member of a list that the index keeps.
  [[nodiscard]] Id& next(Id id) { return _next[id]; }
  [[nodiscard]] Id next(Id id) const { return _next[id]; }
  [[nodiscard]] Id older(Id a, Id b) const { return order(a) < order(b) ? a : b; }

  [[nodiscard]] Id add(const Site& site, std::uint64_t order) {
    if (!_free.empty()) {
      const Id id = _free.back();
      _free.pop_back();
      replace(id, site, order);
      _next[id] = kNone;
      return id;
    }
    _records.push_back(&site->record());
    _orders.push_back(order);
    _next.push_back(kNone);
    _sites.push_back(site);
    return static_cast<Id>(_sites.size() - 1);
  }
  // Makes room for so many more.
  void reserve(std::size_t more) {
    const std::size_t all = _sites.size() + more;
    if (all <= _sites.capacity()) return;
    _records.reserve(all);
    _orders.reserve(all);
    _next.reserve(all);
    _sites.reserve(all);
  }
  void replace(Id id, const Site& site, std::uint64_t order) {
    _records[id] = &site->record();
    _orders[id] = order;
    _sites[id] = site;
  }
  void release(Id id) {
    _sites[id].reset();
    _free.push_back(id);
  }
  void clear() { *this = SiteMembers(); }

  // With their places in the order, in no order.
  [[nodiscard]] std::vector<std::pair<std::uint64_t, Site>> all() const {
    std::vector<std::pair<std::uint64_t, Site>> all;
    for (std::size_t id = 0; id < _sites.size(); ++id) {
      if (_sites[id]) all.emplace_back(_orders[id], _sites[id]);
    }
    return all;
  }

 private:
  std::vector<const SiteRecord*> _records;
  std::vector<std::uint64_t> _orders;
  std::vector<Id> _next;
  std::vector<Site> _sites;
  std::vector<Id> _free;
};

}  // namespace sifterra
