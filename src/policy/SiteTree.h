// SiteTree: sites of one domain, found by what their keys begin with.
//
// A binary trie over the keys of SiteRecord. It keeps no text: an inner node holds the first place at which
// the keys below it differ, the keys themselves stay with the records. A key counts as followed by zeros.
//
// The place is a byte and one of nine bits of it, the first of which tells whether the byte is zero. A zero
// ends each part of a key, so the keys whose part ends at a place stand in one subtree, and all entries that
// cover an address are found on the way down to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "policy/PrefixFilter.h"
#include "policy/SiteMembers.h"
#include "policy/SiteRecord.h"

namespace sifterra {

// By which parts of an address entries are compared.
enum class SiteKey { Address, Path };

class SiteTree {
 public:
  using Id = SiteMembers::Id;
  static constexpr Id kNone = SiteMembers::kNone;

  SiteTree(const SiteMembers& members, SiteKey key) : members_(members), key_(key) {}

  [[nodiscard]] bool empty() const noexcept { return root_ == kNone; }
  // Any member; the tree must not be empty.
  [[nodiscard]] Id anyone() const { return oldestBelow(root_); }
  // The member with the key of this record, kNone when there is none.
  [[nodiscard]] Id find(const SiteRecord& record) const;
  // Adds a member that is newer than all others and whose key no other has.
  void insert(Id id);
  void erase(Id id);
  // Whether a member covers the candidate; the oldest of those that do, kNone when none does.
  [[nodiscard]] bool covers(const SiteRecord& candidate) const;
  [[nodiscard]] Id oldestCovering(const SiteRecord& candidate) const;

 private:
  // A node, or a member with the highest bit set.
  using Ref = std::uint32_t;
  static constexpr Ref kMember = 0x80000000;

  struct Node {
    Ref child[2];
    std::uint32_t place;  // byte * 16 + bit
    Id oldest;            // of all members below
  };

  [[nodiscard]] std::string_view keyOf(const SiteRecord& record) const noexcept {
    return key_ == SiteKey::Address ? record.entryKey() : record.pathKey();
  }
  [[nodiscard]] std::string_view keyOf(Id id) const { return keyOf(members_.record(id)); }
  [[nodiscard]] Id oldestBelow(Ref ref) const {
    return (ref & kMember) != 0 ? ref & ~kMember : nodes_[ref].oldest;
  }
  [[nodiscard]] Id memberNear(std::string_view key) const;
  [[nodiscard]] Ref newNode();
  void place(Id id);
  void addToFilters(Id id);
  void makeFilters();
  template <class Visit>
  [[nodiscard]] bool walkPart(Ref top, std::size_t base, std::string_view text, const Visit& visit) const;
  template <class Take>
  [[nodiscard]] bool visitCovering(const SiteRecord& candidate, const Take& take) const;

  const SiteMembers& members_;
  const SiteKey key_;
  Ref root_ = kNone;
  std::vector<Node> nodes_;
  std::vector<Ref> freeNodes_;
  std::size_t size_ = 0;
  PrefixFilter hosts_;
  PrefixFilter paths_;
};

}  // namespace sifterra
