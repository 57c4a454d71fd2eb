// MapReader.h: the checks that a file passes before it is a map.
//
// A map file is untrusted. The header says whether it is a map, of a version that this library uses, and
// whole; the FlatBuffers verifier that every offset stays inside; then come our own rules: tables that agree
// in size, numbers that are finite and small enough for every score to be finite. After that nothing is
// checked again.
#pragma once

#include <memory>
#include <string>

#include "lsm/MapFile.h"

namespace sifterra::lsm::file {
struct Map;
}

namespace sifterra::lsm {

class MapReader {
 public:
  MapReader(std::unique_ptr<MapBytes> bytes, std::string& why);
  // The map, or null with the reason in `why`.
  [[nodiscard]] LsmMap read();

 private:
  [[nodiscard]] bool readHeader();
  [[nodiscard]] bool readPayload();
  [[nodiscard]] bool readSizes(const file::Map& payload);
  [[nodiscard]] bool readParts(const file::Map& payload);
  [[nodiscard]] bool readHead(const file::Map& payload);
  [[nodiscard]] bool readWords(const file::Map& payload);
  [[nodiscard]] bool readSlots(const file::Map& payload);
  [[nodiscard]] bool readNearWords(const file::Map& payload);
  void makeNearEnds();
  [[nodiscard]] bool slotsAreSound(const std::uint64_t* slots, std::uint32_t count) const;
  [[nodiscard]] bool readRows(const file::Map& payload);
  [[nodiscard]] bool readProperties(const file::Map& payload);
  [[nodiscard]] bool hasSignatureWords();
  [[nodiscard]] bool refuse(std::string reason);

  std::unique_ptr<Map> _map;
  std::string& _why;
};

}  // namespace sifterra::lsm
