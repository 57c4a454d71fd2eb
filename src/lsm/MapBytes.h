// MapBytes.h: the bytes of a map file, mapped into memory and read-only.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace sifterra::lsm {

class MapBytes {
 public:
  // Maps a regular file of at most kMaxMapBytes; null, with `why`, when there is none. Pages are shared with
  // every process that uses the same map. The file must not be cut short meanwhile: replace it by renaming.
  [[nodiscard]] static std::unique_ptr<MapBytes> ofFile(const std::string& path, std::string& why);
  // A private copy of bytes in memory; never null.
  [[nodiscard]] static std::unique_ptr<MapBytes> copyOf(std::string_view bytes);

  ~MapBytes();
  MapBytes(const MapBytes&) = delete;
  MapBytes& operator=(const MapBytes&) = delete;

  [[nodiscard]] std::span<const std::byte> bytes() const noexcept { return {_start, _size}; }

 private:
  MapBytes(std::byte* start, std::size_t size, bool mapped) noexcept
      : _start(start), _size(size), _mapped(mapped) {}

  std::byte* _start;
  std::size_t _size;
  bool _mapped;  // unmapped at the end, else freed
};

// Far above any map; keeps sums of sizes within 64 bits and a hostile file from being read for minutes.
inline constexpr std::size_t kMaxMapBytes = std::size_t{1} << 30;

}  // namespace sifterra::lsm
