// WFWhitelistSiteBuffer: the list and the set.
#include "sifterra/policy/WFWhitelistSiteBuffer.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>

#include "policy/SiteRecord.h"

namespace sifterra {
namespace {

using platform::String;
using Site = std::shared_ptr<WFWhitelistSite>;

constexpr std::uint64_t kCapacity = 100000;

}  // namespace

struct WFWhitelistSiteBuffer::Lists {
  mutable std::recursive_mutex lock;  // guards the list and the set
  std::atomic<std::uint64_t> maxSize{kCapacity};
  std::atomic<std::uint64_t> count{0};
  std::deque<Site> list;
  std::vector<Site> set;

  auto covering(const WFWhitelistSite& candidate) {
    return std::find_if(set.begin(), set.end(), [&](const Site& member) {
      return member->hash() == candidate.hash() && member->isEqual(candidate);
    });
  }
  void join(const Site& site) {
    if (covering(*site) == set.end()) set.push_back(site);
  }
};

WFWhitelistSiteBuffer::WFWhitelistSiteBuffer() : _lists(std::make_unique<Lists>()) {}

WFWhitelistSiteBuffer::~WFWhitelistSiteBuffer() = default;

void WFWhitelistSiteBuffer::addURLString(const String& urlString) {
  if (maxSize() == 0) return;
  auto site = std::make_shared<WFWhitelistSite>(urlString);
  const std::lock_guard guard(_lists->lock);
  const std::uint64_t capacity = maxSize();
  if (capacity == 0) return;  // set meanwhile
  trimToSize(capacity - 1);
  _lists->list.push_back(site);
  _lists->count = _lists->list.size();
  _lists->join(site);
}

bool WFWhitelistSiteBuffer::containsURLString(const String& urlString) const {
  const WFWhitelistSite candidate(urlString);
  const std::lock_guard guard(_lists->lock);
  return _lists->covering(candidate) != _lists->set.end();
}

bool WFWhitelistSiteBuffer::containsMetasitePrefixOfURLString(const String& urlString) const {
  const WFWhitelistSite candidate(urlString);
  const std::lock_guard guard(_lists->lock);
  return std::any_of(_lists->list.begin(), _lists->list.end(),
                     [&](const Site& entry) { return candidate.hasMetasitePrefix(*entry); });
}

std::uint64_t WFWhitelistSiteBuffer::maxSize() const noexcept {
  return _lists->maxSize;
}

void WFWhitelistSiteBuffer::setMaxSize(std::uint64_t maxSize) {
  _lists->maxSize = maxSize;
  const std::lock_guard guard(_lists->lock);
  trimToSize(maxSize);
}

void WFWhitelistSiteBuffer::trimToSize(std::uint64_t size) {
  const std::lock_guard guard(_lists->lock);
  while (_lists->list.size() > size) {
    const auto member = _lists->covering(*_lists->list.front());
    if (member != _lists->set.end()) _lists->set.erase(member);
    _lists->list.pop_front();
  }
  _lists->count = _lists->list.size();
}

std::uint64_t WFWhitelistSiteBuffer::count() const noexcept {
  return _lists->count;
}

String WFWhitelistSiteBuffer::description() const {
  std::u16string text = u"{";
  for (const Site& site : siteBuffer()) {
    const String one = site->description();
    text.append(one ? one.view() : u"(null)").append(u", ");
  }
  return String(text + u"}");
}

WFWhitelistSiteBuffer::Sites WFWhitelistSiteBuffer::siteBuffer() const {
  const std::lock_guard guard(_lists->lock);
  return {_lists->list.begin(), _lists->list.end()};
}

void WFWhitelistSiteBuffer::setSiteBuffer(const Sites& sites) {
  const std::lock_guard guard(_lists->lock);
  _lists->list.clear();
  std::copy_if(sites.begin(), sites.end(), std::back_inserter(_lists->list),
               [](const Site& site) { return site; });
  _lists->count = _lists->list.size();
}

WFWhitelistSiteBuffer::Sites WFWhitelistSiteBuffer::siteSet() const {
  const std::lock_guard guard(_lists->lock);
  return _lists->set;
}

void WFWhitelistSiteBuffer::setSiteSet(const Sites& sites) {
  const std::lock_guard guard(_lists->lock);
  _lists->set.clear();
  for (const Site& site : sites) {
    if (site) _lists->join(site);
  }
}

}  // namespace sifterra
