// Connections: how many each account has, over all addresses that the service listens at.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace sifterra::override_service {

class Connections {
 public:
  // One connection, which is counted as long as this lives. Not longer than the Connections.
  class Place {
   public:
    Place(Place&& other) noexcept
        : _connections(std::exchange(other._connections, nullptr)), _owner(other._owner) {}
    Place& operator=(Place&&) = delete;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() {
      if (_connections != nullptr) _connections->leave(_owner);
    }

   private:
    friend class Connections;
    Place(Connections* connections, std::optional<std::uint32_t> owner)
        : _connections(connections), _owner(owner) {}
    Connections* _connections;
    std::optional<std::uint32_t> _owner;
  };

  explicit Connections(unsigned mostOfOne) : _mostOfOne(mostOfOne) {}

  // Nothing when the account has as many as it may. Those of unknown owners count as one account's.
  [[nodiscard]] std::optional<Place> take(std::optional<std::uint32_t> owner) {
    const std::scoped_lock guard(_lock);
    unsigned& count = _counts[owner];
    if (count >= _mostOfOne) return std::nullopt;
    ++count;
    return Place(this, owner);
  }

 private:
  void leave(std::optional<std::uint32_t> owner) {
    const std::scoped_lock guard(_lock);
    const auto found = _counts.find(owner);
    if (--found->second == 0) _counts.erase(found);
  }

  const unsigned _mostOfOne;
  std::mutex _lock;
  std::map<std::optional<std::uint32_t>, unsigned> _counts;
};

}  // namespace sifterra::override_service
