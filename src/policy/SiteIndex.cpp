// SiteIndex: linear probing; a removed slot is closed by moving later ones up, so nothing wears out.
#include "policy/SiteIndex.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace sifterra {
namespace {

constexpr SiteMembers::Id kNone = SiteMembers::kNone;
constexpr std::size_t kFewestSlots = 16;
constexpr std::size_t kCacheLine = 64;

}  // namespace

std::uint32_t SiteIndex::hashOf(const SiteRecord& record) const noexcept {
  return _by == By::Path ? 0 : static_cast<std::uint32_t>(record.domainHash());
}

bool SiteIndex::sameDomain(const SiteRecord& member, const SiteRecord& record) const {
  return _by == By::Path || member.sameDomain(record);
}

bool SiteIndex::covers(const SiteRecord& member, const SiteRecord& candidate) const noexcept {
  return _by == By::Address ? member.coversAddress(candidate) : member.coversPath(candidate);
}

bool SiteIndex::sameKey(const SiteRecord& a, const SiteRecord& b) const noexcept {
  return _by == By::Address ? a.entryKey() == b.entryKey() : a.pathKey() == b.pathKey();
}

std::size_t SiteIndex::slotOf(const SiteRecord& record) const {
  const std::uint32_t hash = hashOf(record);
  const std::size_t mask = _slots.size() - 1;
  for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const Slot& each = _slots[slot];
    if (each.group == kFree) return slot;
    if (each.hash == hash && sameDomain(witness(each), record)) return slot;
  }
}

const SiteRecord& SiteIndex::witness(const Slot& slot) const {
  if (slot.alone) {
    __builtin_prefetch(reinterpret_cast<const char*>(slot.alone) + kCacheLine);  // the rest of its key
    return *slot.alone;
  }
  return _members.record(isTree(slot.group) ? tree(slot.group).anyone() : slot.group);
}

void SiteIndex::reserve(std::size_t more) {
  _members.reserve(more);
  const std::size_t slots = std::bit_ceil(2 * (_groups + more));
  if (slots > _slots.size()) growTo(slots);
}

void SiteIndex::growTo(std::size_t slots) {
  std::vector<Slot> old(slots);
  old.swap(_slots);
  _places.set(_slots.data(), _slots.size(), sizeof(Slot));
  const std::size_t mask = _slots.size() - 1;
  for (const Slot& moved : old) {
    if (moved.group == kFree) continue;
    std::size_t slot = moved.hash & mask;
    while (_slots[slot].group != kFree) slot = (slot + 1) & mask;
    _slots[slot] = moved;
  }
}

void SiteIndex::freeSlot(std::size_t slot) {
  const std::size_t mask = _slots.size() - 1;
  --_groups;
  for (std::size_t later = (slot + 1) & mask; _slots[later].group != kFree; later = (later + 1) & mask) {
    const std::size_t home = _slots[later].hash & mask;
    // Whether the gap lies on its way from home.
    if (((later - home) & mask) < ((later - slot) & mask)) continue;
    _slots[slot] = _slots[later];
    slot = later;
  }
  _slots[slot] = {};
}

void SiteIndex::addToList(Slot& slot, Id id) {
  Group& group = slot.group;
  slot.alone = nullptr;
  std::size_t length = 0;
  for (Id each = group; each != kNone; each = _members.next(each)) ++length;
  if (length < kLongestList) {
    _members.next(id) = group;
    group = id;
    return;
  }
  Group made = static_cast<Group>(_trees.size());
  if (_freeTrees.empty()) {
    _trees.emplace_back();
  } else {
    made = _freeTrees.back();
    _freeTrees.pop_back();
  }
  _trees[made] = std::make_unique<SiteTree>(_members, key());
  std::vector<Id> newestFirst;
  for (Id each = group; each != kNone; each = _members.next(each)) newestFirst.push_back(each);
  for (auto each = newestFirst.rbegin(); each != newestFirst.rend(); ++each) _trees[made]->insert(*each);
  _trees[made]->insert(id);
  group = made | kTree;
}

void SiteIndex::add(const SiteMembers::Site& site, std::uint64_t order) {
  if (2 * (_groups + 1) > _slots.size()) growTo(std::max(kFewestSlots, 2 * _slots.size()));
  const SiteRecord& record = site->record();
  Slot& slot = _slots[slotOf(record)];
  if (slot.group == kFree) {
    slot = {hashOf(record), _members.add(site, order), &record};
    ++_groups;
    return;
  }
  if (const Id elder = find(slot.group, record); elder != kNone) {
    // Its place in a tree stays: who is oldest there is asked only where keys never meet (By::Address).
    _members.replace(elder, site, order);
    if (slot.alone) slot.alone = &record;
    return;
  }
  const Id id = _members.add(site, order);
  if (isTree(slot.group)) {
    tree(slot.group).insert(id);
  } else {
    addToList(slot, id);
  }
}

SiteIndex::Id SiteIndex::find(Group group, const SiteRecord& record) const {
  if (isTree(group)) return tree(group).find(record);
  Id id = group;
  while (id != kNone && !sameKey(_members.record(id), record)) id = _members.next(id);
  return id;
}

SiteIndex::Id SiteIndex::oldestCovering(Group group, const SiteRecord& candidate) const {
  if (isTree(group)) return tree(group).oldestCovering(candidate);
  Id oldest = kNone;
  for (Id id = group; id != kNone; id = _members.next(id)) {
    if (!covers(_members.record(id), candidate)) continue;
    oldest = oldest == kNone ? id : _members.older(oldest, id);
  }
  return oldest;
}

void SiteIndex::erase(std::size_t slot, Id id) {
  Group& group = _slots[slot].group;
  if (isTree(group)) {
    tree(group).erase(id);
    if (tree(group).empty()) {
      _trees[group & ~kTree].reset();
      _freeTrees.push_back(group & ~kTree);
      freeSlot(slot);
    }
  } else {
    Id* link = &group;
    while (*link != id) link = &_members.next(*link);
    *link = _members.next(id);
    if (group == kFree) freeSlot(slot);
  }
  _members.release(id);
}

void SiteIndex::remove(const SiteRecord& record, std::uint64_t order) {
  if (_slots.empty()) return;
  const std::size_t slot = slotOf(record);
  if (_slots[slot].group == kFree) return;
  const Id id = find(_slots[slot].group, record);
  if (id != kNone && _members.order(id) == order) erase(slot, id);
}

void SiteIndex::removeOldestCovering(const SiteRecord& candidate) {
  if (_slots.empty()) return;
  const std::size_t slot = slotOf(candidate);
  if (_slots[slot].group == kFree) return;
  const Id id = oldestCovering(_slots[slot].group, candidate);
  if (id != kNone) erase(slot, id);
}

void SiteIndex::clear() {
  _places.set(nullptr, 1, 0);
  _slots.clear();
  _groups = 0;
  _trees.clear();
  _freeTrees.clear();
  _members.clear();
}

bool SiteIndex::covers(const SiteRecord& candidate) const {
  if (_slots.empty()) return false;
  const Slot& slot = _slots[slotOf(candidate)];
  const Group group = slot.group;
  if (group == kFree) return false;
  if (slot.alone) return covers(*slot.alone, candidate);
  if (isTree(group)) return tree(group).covers(candidate);
  Id id = group;
  while (id != kNone && !covers(_members.record(id), candidate)) id = _members.next(id);
  return id != kNone;
}

std::vector<SiteMembers::Site> SiteIndex::sites() const {
  auto members = _members.all();
  std::sort(members.begin(), members.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<SiteMembers::Site> sites;
  sites.reserve(members.size());
  for (auto& [order, site] : members) sites.push_back(std::move(site));
  return sites;
}

}  // namespace sifterra
