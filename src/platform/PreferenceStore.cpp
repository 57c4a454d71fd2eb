// PreferenceStore: the store of the process.
#include "platform/PreferenceStore.h"

#include <atomic>

#include "platform/LinuxPreferenceStore.h"

namespace sifterra::platform {
namespace {

std::atomic<const PreferenceStore*> replacement{nullptr};

}  // namespace

const PreferenceStore& PreferenceStore::current() {
  static const auto& host =
      *new LinuxPreferenceStore;  // never destroyed: threads may ask while the process exits
  const PreferenceStore* store = replacement.load(std::memory_order_acquire);
  return store ? *store : host;
}

void PreferenceStore::setCurrentForTesting(const PreferenceStore* store) noexcept {
  replacement.store(store, std::memory_order_release);
}

}  // namespace sifterra::platform
