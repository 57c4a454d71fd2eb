// SiteTree: a crit-bit tree whose bytes have nine bits.
#include "policy/SiteTree.h"

#include <algorithm>
#include <bit>

namespace sifterra {
namespace {

constexpr std::uint32_t kBitsOfPlace = 4;
constexpr std::uint32_t kZeroBit = 0;  // tells whether the byte is zero; 1 to 8 are its bits, highest first

constexpr std::uint32_t byteOf(std::uint32_t place) {
  return place >> kBitsOfPlace;
}

constexpr std::uint32_t bitOf(std::uint32_t place) {
  return place & ((1U << kBitsOfPlace) - 1);
}

unsigned charAt(std::string_view key, std::size_t at) {
  return at < key.size() ? static_cast<unsigned char>(key[at]) : 0;
}

unsigned bitOfChar(unsigned c, std::uint32_t bit) {
  return bit == kZeroBit ? static_cast<unsigned>(c != 0) : c >> (8 - bit) & 1U;
}

unsigned directionOf(std::string_view key, std::uint32_t place) {
  return bitOfChar(charAt(key, byteOf(place)), bitOf(place));
}

// The first place at which two different keys part.
std::uint32_t parting(std::string_view a, std::string_view b) {
  const std::size_t shorter = std::min(a.size(), b.size());
  std::size_t at = static_cast<std::size_t>(
      std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(shorter), b.begin()).first -
      a.begin());
  while (charAt(a, at) == charAt(b, at)) ++at;  // zeros of one against the end of the other
  const unsigned left = charAt(a, at);
  const unsigned right = charAt(b, at);
  const auto byte = static_cast<std::uint32_t>(at) << kBitsOfPlace;
  if (left == 0 || right == 0) return byte + kZeroBit;
  return byte + 9 - static_cast<std::uint32_t>(std::bit_width(left ^ right));
}

}  // namespace

SiteTree::Id SiteTree::memberNear(std::string_view key) const {
  Ref ref = root_;
  while ((ref & kMember) == 0) {
    const Node& node = nodes_[ref];
    ref = node.child[directionOf(key, node.place)];
  }
  return ref & ~kMember;
}

SiteTree::Id SiteTree::find(const SiteRecord& record) const {
  if (empty()) return kNone;
  const std::string_view key = keyOf(record);
  const Id near = memberNear(key);
  return keyOf(near) == key ? near : kNone;
}

void SiteTree::addToFilters(Id id) {
  const SiteRecord& record = members_.record(id);
  hosts_.add(record.coversEveryHost() ? std::string_view() : record.backwardHost());
  paths_.add(record.path());
}

// Of all members anew: what was erased goes, and there is room for as many again.
void SiteTree::makeFilters() {
  hosts_.reset(size_);
  paths_.reset(size_);
  std::vector<Ref> open{root_};
  while (!open.empty()) {
    const Ref ref = open.back();
    open.pop_back();
    if ((ref & kMember) != 0) {
      addToFilters(ref & ~kMember);
    } else {
      open.insert(open.end(), {nodes_[ref].child[0], nodes_[ref].child[1]});
    }
  }
}

void SiteTree::insert(Id id) {
  ++size_;
  place(id);
  if (paths_.full()) {
    makeFilters();
  } else {
    addToFilters(id);
  }
}

void SiteTree::place(Id id) {
  if (empty()) {
    root_ = id | kMember;
    return;
  }
  const std::string_view key = keyOf(id);
  const std::uint32_t parted = parting(key, keyOf(memberNear(key)));
  const Ref made = newNode();
  Ref* link = &root_;
  while ((*link & kMember) == 0 && nodes_[*link].place < parted) {
    Node& node = nodes_[*link];
    link = &node.child[directionOf(key, node.place)];
  }
  Node& node = nodes_[made];
  const unsigned direction = directionOf(key, parted);
  node.child[direction] = id | kMember;
  node.child[1 - direction] = *link;
  node.place = parted;
  node.oldest = oldestBelow(*link);  // the new one is newer than any
  *link = made;
}

SiteTree::Ref SiteTree::newNode() {
  if (freeNodes_.empty()) {
    nodes_.emplace_back();
    return static_cast<Ref>(nodes_.size() - 1);
  }
  const Ref ref = freeNodes_.back();
  freeNodes_.pop_back();
  return ref;
}

void SiteTree::erase(Id id) {
  --size_;
  const std::string_view key = keyOf(id);
  std::vector<Ref> way;  // of nodes, from the root
  Ref ref = root_;
  while ((ref & kMember) == 0) {
    way.push_back(ref);
    ref = nodes_[ref].child[directionOf(key, nodes_[ref].place)];
  }
  if (way.empty()) {
    root_ = kNone;
    return;
  }
  const Ref parent = way.back();
  way.pop_back();
  const Ref sibling = nodes_[parent].child[1 - directionOf(key, nodes_[parent].place)];
  freeNodes_.push_back(parent);
  if (way.empty()) {
    root_ = sibling;
  } else {
    Node& above = nodes_[way.back()];
    above.child[directionOf(key, above.place)] = sibling;
  }
  for (; !way.empty() && nodes_[way.back()].oldest == id; way.pop_back()) {
    Node& node = nodes_[way.back()];
    node.oldest = members_.older(oldestBelow(node.child[0]), oldestBelow(node.child[1]));
  }
}

// Visits each subtree below `top` whose keys have, from `base` to the next zero, a part that `text` begins
// with; with the place behind that zero. All keys below `top` agree before `base`. Stops when `visit` says
// so.
template <class Visit>
bool SiteTree::walkPart(Ref top, std::size_t base, std::string_view text, const Visit& visit) const {
  const auto agreeing = [&](Id id) {
    const std::string_view key = keyOf(id);
    std::size_t length = 0;
    while (length < text.size() && charAt(key, base + length) == static_cast<unsigned char>(text[length]))
      ++length;
    return length;
  };
  const auto isInner = [](Ref ref) { return (ref & kMember) == 0; };
  // As long as the keys below agree, any one of them tells where they leave the text.
  Id witness = oldestBelow(top);
  std::size_t length = agreeing(witness);
  if (isInner(top) && byteOf(nodes_[top].place) <= base + length) {
    Ref ref = top;
    while (isInner(ref)) {
      const Node& node = nodes_[ref];
      ref = node.child[bitOfChar(charAt(text, byteOf(node.place) - base), bitOf(node.place))];
    }
    witness = ref & ~kMember;
    length = agreeing(witness);
  }
  Ref ref = top;
  while (isInner(ref) && byteOf(nodes_[ref].place) <= base + length) {
    const Node& node = nodes_[ref];
    const std::size_t at = byteOf(node.place) - base;
    if (bitOf(node.place) == kZeroBit && at < text.size() && visit(node.child[0], base + at + 1)) return true;
    ref = node.child[bitOfChar(charAt(text, at), bitOf(node.place))];
  }
  return charAt(keyOf(witness), base + length) == 0 && visit(ref, base + length + 1);
}

template <class Take>
bool SiteTree::visitCovering(const SiteRecord& candidate, const Take& take) const {
  if (empty() || !paths_.mayBegin(candidate.path())) return false;
  if (key_ == SiteKey::Address && !hosts_.mayBegin(candidate.backwardHost())) return false;
  const auto byQuery = [&](Ref top, std::size_t base) {
    if (!candidate.hasQuery()) return take(oldestBelow(top));
    return walkPart(top, base, candidate.query(),
                    [&](Ref found, std::size_t) { return take(oldestBelow(found)); });
  };
  const auto byPath = [&](Ref top, std::size_t base) {
    return walkPart(top, base, candidate.path(), byQuery);
  };
  return key_ == SiteKey::Address ? walkPart(root_, 0, candidate.backwardHost(), byPath) : byPath(root_, 0);
}

bool SiteTree::covers(const SiteRecord& candidate) const {
  return visitCovering(candidate, [](Id) { return true; });
}

SiteTree::Id SiteTree::oldestCovering(const SiteRecord& candidate) const {
  Id oldest = kNone;
  static_cast<void>(visitCovering(candidate, [&](Id id) {
    oldest = oldest == kNone ? id : members_.older(oldest, id);
    return false;
  }));
  return oldest;
}

}  // namespace sifterra
