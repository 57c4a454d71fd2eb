// WFWhitelistSiteBuffer: a list in order, and beside it indexes that answer as a walk would.
//
// The index of the set is always there. Those of the list by path, within a domain and (for addresses without
// one, which pass for any) across all, are made when they are first asked and kept up from then on.
#include "sifterra/policy/WFWhitelistSiteBuffer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "platform/Log.h"
#include "platform/Unicode.h"
#include "policy/SiteBlock.h"
#include "policy/SiteIndex.h"
#include "policy/SiteRecord.h"

namespace sifterra {
namespace {

using platform::String;
using Site = std::shared_ptr<WFWhitelistSite>;

constexpr std::uint64_t kCapacity = 100000;
constexpr std::size_t kFewestOfABlock = 256;
// So many sites before its turn the memory that a site needs is asked for.
constexpr std::size_t kAhead = 8;

// A site that is asked about and forgotten: its record is made on the stack when it is no longer than most.
struct Candidate {
  Candidate(const String& urlString, const HashPlaces* soon)
      : site(SiteRecord::fromURLString(urlString, memory, soon)) {}

  alignas(RecordMemory::kAlignment) std::array<std::byte, 1024> bytes;
  RecordMemory memory{bytes};
  const WFWhitelistSite site;
};

}  // namespace

struct WFWhitelistSiteBuffer::Lists {
  struct Entry {
    Site site;
    std::uint64_t order;
  };
  struct PathIndex {
    SiteIndex sites;
    bool made = false;  // and kept up since
  };

  void add(const Site& site, std::uint64_t capacity);
  void reserve(std::size_t more, std::uint64_t capacity);
  void append(const Site& site);
  void join(const Site& site, std::uint64_t order);
  void dropOldest();
  [[nodiscard]] const SiteIndex& pathIndex(bool ofDomain);

  std::recursive_mutex lock;  // guards what is below
  std::deque<Entry> list;
  SiteIndex set{SiteIndex::By::Address};
  PathIndex pathsOfDomains{SiteIndex(SiteIndex::By::DomainPath)};  // of the list
  PathIndex paths{SiteIndex(SiteIndex::By::Path)};
  std::uint64_t nextOrder = 0;

  std::atomic<std::uint64_t> maxSize{kCapacity};
  std::atomic<std::uint64_t> count{0};
};

void WFWhitelistSiteBuffer::Lists::add(const Site& site, std::uint64_t capacity) {
  while (list.size() >= capacity) dropOldest();
  append(site);
  join(site, list.back().order);
}

void WFWhitelistSiteBuffer::Lists::reserve(std::size_t more, std::uint64_t capacity) {
  const std::uint64_t room = capacity - std::min<std::uint64_t>(capacity, list.size());
  set.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(more, room)));
}

void WFWhitelistSiteBuffer::Lists::append(const Site& site) {
  const std::uint64_t order = nextOrder++;
  list.push_back({site, order});
  count = list.size();
  if (pathsOfDomains.made) pathsOfDomains.sites.add(site, order);
  if (paths.made) paths.sites.add(site, order);
}

void WFWhitelistSiteBuffer::Lists::join(const Site& site, std::uint64_t order) {
  if (!set.covers(site->record())) set.add(site, order);
}

void WFWhitelistSiteBuffer::Lists::dropOldest() {
  const Entry oldest = std::move(list.front());
  list.pop_front();
  count = list.size();
  const SiteRecord& record = oldest.site->record();
  set.removeOldestCovering(record);
  if (pathsOfDomains.made) pathsOfDomains.sites.remove(record, oldest.order);
  if (paths.made) paths.sites.remove(record, oldest.order);
}

const SiteIndex& WFWhitelistSiteBuffer::Lists::pathIndex(bool ofDomain) {
  PathIndex& index = ofDomain ? pathsOfDomains : paths;
  if (!index.made) {
    for (const Entry& entry : list) index.sites.add(entry.site, entry.order);
    index.made = true;
  }
  return index.sites;
}

WFWhitelistSiteBuffer::WFWhitelistSiteBuffer() : _lists(std::make_unique<Lists>()) {}

WFWhitelistSiteBuffer::~WFWhitelistSiteBuffer() = default;

void WFWhitelistSiteBuffer::addURLString(const String& urlString) {
  if (maxSize() == 0) return;
  auto site = std::make_shared<WFWhitelistSite>(urlString);
  const std::lock_guard guard(_lists->lock);
  const std::uint64_t capacity = maxSize();
  if (capacity == 0) return;  // set meanwhile
  _lists->add(site, capacity);
}

void WFWhitelistSiteBuffer::addURLStrings(std::span<const std::string_view> urlStrings) {
  std::u16string address;
  while (urlStrings.size() >= kFewestOfABlock && maxSize() != 0) {
    const auto block = std::make_shared<SiteBlock>();
    std::vector<WFWhitelistSite*> sites;
    sites.reserve(kFewestOfABlock);
    while (!block->full() && sites.size() < urlStrings.size()) {
      const std::string_view utf8 = urlStrings[sites.size()];
      if (sites.size() + kAhead < urlStrings.size())
        __builtin_prefetch(urlStrings[sites.size() + kAhead].data());
      address.clear();
      if (!platform::appendUTF16FromUTF8(utf8, address)) address = platform::utf16FromUTF8Lossy(utf8);
      sites.push_back(&block->add(address));
    }
    const std::lock_guard guard(_lists->lock);
    const std::uint64_t capacity = maxSize();
    if (capacity == 0) return;  // set meanwhile
    _lists->reserve(urlStrings.size(), capacity);
    urlStrings = urlStrings.subspan(sites.size());
    for (std::size_t i = 0; i < sites.size(); ++i) {
      if (i + kAhead < sites.size()) _lists->set.places().prefetch(sites[i + kAhead]->record().domainHash());
      _lists->add(Site(block, sites[i]), capacity);
    }
  }
  for (const std::string_view each : urlStrings) addURLString(String::fromUTF8Lossy(each));
}

bool WFWhitelistSiteBuffer::containsURLString(const String& urlString) const {
  const Candidate made(urlString, &_lists->set.places());
  const WFWhitelistSite& candidate = made.site;
  const std::lock_guard guard(_lists->lock);
  return _lists->set.covers(candidate.record());
}

bool WFWhitelistSiteBuffer::containsMetasitePrefixOfURLString(const String& urlString) const {
  const Candidate made(urlString, &_lists->pathsOfDomains.sites.places());
  const WFWhitelistSite& candidate = made.site;
  const std::lock_guard guard(_lists->lock);
  if (platform::Logger::enabled(platform::LogLevel::Debug)) {
    return std::any_of(_lists->list.begin(), _lists->list.end(),
                       [&](const Lists::Entry& entry) { return candidate.hasMetasitePrefix(*entry.site); });
  }
  return _lists->pathIndex(candidate.record().hasDomain()).covers(candidate.record());
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
  while (_lists->list.size() > size) _lists->dropOldest();
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
  Sites sites;
  sites.reserve(_lists->list.size());
  for (const Lists::Entry& entry : _lists->list) sites.push_back(entry.site);
  return sites;
}

void WFWhitelistSiteBuffer::setSiteBuffer(const Sites& sites) {
  const std::lock_guard guard(_lists->lock);
  for (Lists::PathIndex* index : {&_lists->pathsOfDomains, &_lists->paths}) {
    index->sites.clear();
    index->made = false;
  }
  _lists->list.clear();
  _lists->count = 0;
  for (const Site& site : sites) {
    if (site) _lists->append(site);
  }
}

WFWhitelistSiteBuffer::Sites WFWhitelistSiteBuffer::siteSet() const {
  const std::lock_guard guard(_lists->lock);
  return _lists->set.sites();
}

void WFWhitelistSiteBuffer::setSiteSet(const Sites& sites) {
  const std::lock_guard guard(_lists->lock);
  _lists->set.clear();
  for (const Site& site : sites) {
    if (site) _lists->join(site, _lists->nextOrder++);
  }
}

}  // namespace sifterra
