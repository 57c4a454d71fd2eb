// SiteIndex: sites, found by their domain and what they cover.
//
// A hash table leads from a domain to its sites: a short list, or a SiteTree when there are more than a few.
// The answers are those of asking every site in turn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "policy/HashPlaces.h"
#include "policy/SiteMembers.h"
#include "policy/SiteTree.h"

namespace sifterra {

class SiteIndex {
 public:
  // How sites cover an address: by domain, host, path and query; by domain, path and query; by path and
  // query.
  enum class By { Address, DomainPath, Path };

  explicit SiteIndex(By by) : _by(by) {}
  SiteIndex(const SiteIndex&) = delete;
  SiteIndex& operator=(const SiteIndex&) = delete;

  // Adds a site; `order` is higher than that of any before. One that covers the same takes the place of its
  // elder.
  void add(const SiteMembers::Site& site, std::uint64_t order);
  // Makes room for so many more sites.
  void reserve(std::size_t more);
  // Removes the site that was added with this order, if it is still there.
  void remove(const SiteRecord& record, std::uint64_t order);
  // Removes the oldest site that covers the candidate, if any does.
  void removeOldestCovering(const SiteRecord& candidate);
  void clear();

  [[nodiscard]] bool covers(const SiteRecord& candidate) const;
  // May be asked without the lock that guards the rest.
  [[nodiscard]] const HashPlaces& places() const noexcept { return _places; }
  // Every site, oldest first.
  [[nodiscard]] std::vector<SiteMembers::Site> sites() const;

 private:
  using Id = SiteMembers::Id;
  // The first member of a list, or a tree with the highest bit set; kFree marks a free slot.
  using Group = std::uint32_t;
  static constexpr Group kTree = 0x80000000;
  static constexpr Group kFree = 0xFFFFFFFF;
  static constexpr std::size_t kLongestList = 4;

  struct Slot {
    std::uint32_t hash = 0;
    Group group = kFree;
    const SiteRecord* alone = nullptr;  // the record of a list of one, which most are: one step less to it
  };

  [[nodiscard]] static bool isTree(Group group) noexcept { return (group & kTree) != 0; }
  [[nodiscard]] SiteTree& tree(Group group) const { return *_trees[group & ~kTree]; }
  [[nodiscard]] SiteKey key() const noexcept { return _by == By::Address ? SiteKey::Address : SiteKey::Path; }
  // A record in whose domain the sites of a group are.
  [[nodiscard]] const SiteRecord& witness(const Slot& slot) const;
  [[nodiscard]] std::uint32_t hashOf(const SiteRecord& record) const noexcept;
  [[nodiscard]] bool sameDomain(const SiteRecord& member, const SiteRecord& record) const;
  [[nodiscard]] bool covers(const SiteRecord& member, const SiteRecord& candidate) const noexcept;
  [[nodiscard]] bool sameKey(const SiteRecord& a, const SiteRecord& b) const noexcept;

  [[nodiscard]] std::size_t slotOf(const SiteRecord& record) const;  // of its domain, or the free one for it
  void growTo(std::size_t slots);
  void freeSlot(std::size_t slot);
  void addToList(Slot& slot, Id id);
  void erase(std::size_t slot, Id id);
  [[nodiscard]] Id find(Group group, const SiteRecord& record) const;  // the member with the same key
  [[nodiscard]] Id oldestCovering(Group group, const SiteRecord& candidate) const;

  const By _by;
  SiteMembers _members;
  std::vector<Slot> _slots;  // a power of two, or none; open addressing
  HashPlaces _places;        // of the slots
  std::size_t _groups = 0;
  std::vector<std::unique_ptr<SiteTree>> _trees;
  std::vector<Group> _freeTrees;
};

}  // namespace sifterra
