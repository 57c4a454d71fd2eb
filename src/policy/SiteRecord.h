// SiteRecord: what a site was made from, packed for lists of many.
//
// One block of memory holds, in lower case, the domain and the site's key, and behind them the address, which
// no comparison reads. The key is:
//
//   host backwards, 0, path without slashes at its end, 0, query
//
// Backwards, so that "host ends with" becomes "key begins with" like the other two tests. No part of an
// address holds a zero byte. All of it is ASCII, except a domain that the name service spelled otherwise
// (UTF-8).
//
// Two simplifications lose nothing: an entry without path never looks at the query, and an empty query of an
// entry passes like none, so neither stands in the key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

#include "policy/HashPlaces.h"
#include "policy/RecordMemory.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"

namespace sifterra {

class SiteRecord {
 public:
  // Longer addresses count as unparsable, so that places fit in 32 bits.
  static constexpr std::size_t kLongestAddress = 100'000'000;

  // Of an address as a client spells it: repaired, parsed, reduced. May ask the name service.
  [[nodiscard]] static std::unique_ptr<const SiteRecord> fromURLString(const platform::String& urlString);
  // The same, in the given memory if there is room for it and the address is a simple one.
  // `soon`, when there is one, is told about the domain as soon as it is known.
  [[nodiscard]] static std::unique_ptr<const SiteRecord> fromURLString(const platform::String& urlString,
                                                                       RecordMemory& memory,
                                                                       const HashPlaces* soon);
  [[nodiscard]] static std::unique_ptr<const SiteRecord> fromURLString(std::u16string_view urlString,
                                                                       RecordMemory& memory);
  // Of a URL and a domain that stand for themselves; both may be null.
  [[nodiscard]] static std::unique_ptr<const SiteRecord> fromParts(const platform::URL& url,
                                                                   const platform::String& domainName);
  // The same by the plain route: the steps that an address takes when it is not a simple one.
  [[nodiscard]] static std::unique_ptr<const SiteRecord> fromURLStringBySteps(
      const platform::String& urlString);
  // Leaves alone what is not a piece of memory of its own.
  static void operator delete(SiteRecord* record, std::destroying_delete_t) noexcept {
    if ((record->_flags & kInMemory) == 0) ::operator delete(record);
  }

  [[nodiscard]] platform::String urlString() const;   // null when made from null
  [[nodiscard]] platform::URL url() const;            // null when the address does not parse
  [[nodiscard]] platform::String domainName() const;  // null when there is none

  [[nodiscard]] bool hasURL() const noexcept { return (_flags & kHasURL) != 0; }
  [[nodiscard]] bool hasDomain() const noexcept { return (_flags & kHasDomain) != 0; }
  [[nodiscard]] std::string_view domain() const noexcept { return {chars(), _domainLength}; }
  // Of the domain, whatever its case; keyed anew in each process.
  [[nodiscard]] std::uint64_t domainHash() const noexcept { return _domainHash; }

  // As an entry: whether it covers every host of its domain.
  [[nodiscard]] bool coversEveryHost() const noexcept { return (_flags & kCoversEveryHost) != 0; }
  // As an entry: the key, without the host when it covers every host. What follows the end counts as zeros.
  [[nodiscard]] std::string_view entryKey() const noexcept;
  // Path, 0, query.
  [[nodiscard]] std::string_view pathKey() const noexcept {
    return {key() + _hostLength + 1, std::size_t{_pathLength} + 1 + _queryLength};
  }
  [[nodiscard]] std::string_view backwardHost() const noexcept { return {key(), _hostLength}; }
  [[nodiscard]] std::string_view path() const noexcept { return {key() + _hostLength + 1, _pathLength}; }
  [[nodiscard]] std::string_view query() const noexcept {
    return {key() + _hostLength + _pathLength + 2, _queryLength};
  }
  // As a candidate: whether the address has a query, if an empty one.
  [[nodiscard]] bool hasQuery() const noexcept { return (_flags & kHasQuery) != 0; }

  // Whether both domains are equal ignoring case; a null one equals a null one only.
  [[nodiscard]] bool sameDomain(const SiteRecord& other) const;
  // Whether this entry covers the candidate, apart from their domains: by host, path and query, or by path
  // and query alone.
  [[nodiscard]] bool coversAddress(const SiteRecord& candidate) const noexcept;
  [[nodiscard]] bool coversPath(const SiteRecord& candidate) const noexcept;

 private:
  static constexpr std::uint32_t kHasText = 1;
  static constexpr std::uint32_t kHasURL = 2;
  static constexpr std::uint32_t kHasDomain = 4;
  static constexpr std::uint32_t kCoversEveryHost = 8;
  static constexpr std::uint32_t kHasQuery = 16;
  static constexpr std::uint32_t kInMemory = 32;  // of others
  struct Parts;

  SiteRecord() = default;
  // Null when the address is not a simple one.
  [[nodiscard]] static std::unique_ptr<const SiteRecord> fromSimpleAddress(std::u16string_view urlString,
                                                                           RecordMemory* memory,
                                                                           const HashPlaces* soon = nullptr);
  [[nodiscard]] static std::unique_ptr<const SiteRecord> make(const Parts& parts,
                                                              RecordMemory* memory = nullptr);
  [[nodiscard]] const char* chars() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  [[nodiscard]] const char* key() const noexcept { return chars() + _domainLength; }
  [[nodiscard]] const char* address() const noexcept {
    return key() + _hostLength + _pathLength + _queryLength + 2;
  }

  std::uint64_t _domainHash = 0;
  std::uint32_t _addressLength = 0;
  std::uint32_t _domainLength = 0;
  std::uint32_t _hostLength = 0;
  std::uint32_t _pathLength = 0;
  std::uint32_t _queryLength = 0;
  std::uint32_t _flags = 0;
};

}  // namespace sifterra
