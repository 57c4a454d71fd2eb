// HashPlaces: where a hash table keeps a hash, for who will look there soon and does not hold its lock.
//
// The processor fetches the place while other work goes on. A place that is not the table's any more is
// fetched in vain: nothing is read.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace sifterra {

class HashPlaces {
 public:
  // Of a table of 2^n places of that size; null when there is none. Calls must not overlap.
  void set(const void* table, std::size_t places, std::size_t bytesOfPlace) noexcept {
    _table.store(static_cast<const char*>(table), std::memory_order_relaxed);
    _mask.store(places - 1, std::memory_order_relaxed);
    _bytes = bytesOfPlace;
  }
  void prefetch(std::uint64_t hash) const noexcept {
    if (const char* table = _table.load(std::memory_order_relaxed))
      __builtin_prefetch(table + (hash & _mask.load(std::memory_order_relaxed)) * _bytes);
  }

 private:
  std::atomic<const char*> _table{nullptr};
  std::atomic<std::size_t> _mask{0};
  std::atomic<std::size_t> _bytes{0};
};

}  // namespace sifterra
