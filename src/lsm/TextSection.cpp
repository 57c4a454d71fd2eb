#include "lsm/TextSection.h"

namespace sifterra::lsm {

std::optional<TextSection> sectionOfMarker(std::string_view atom) noexcept {
  // As the page's text has them, folded; all of one length.
  static constexpr std::array<std::string_view, kTextSections - 1> kMarkers = {
      "ooooooooooooooooooootitleoooooooooooooooooooo", "oooooooooooooooooooootagsoooooooooooooooooooo",
      "ooooooooooooooooodescriptionooooooooooooooooo", "oooooooooooooooooookeywordsoooooooooooooooooo",
      "oooooooooooooooooooimagealtsooooooooooooooooo", "ooooooooooooooooooolinktitlesoooooooooooooooo",
      "ooooooooooooooooooopagecontentooooooooooooooo"};
  if (atom.size() != kMarkers[0].size()) return std::nullopt;
  for (std::size_t i = 0; i < kMarkers.size(); ++i) {
    if (atom == kMarkers[i]) return static_cast<TextSection>(i + 1);
  }
  return std::nullopt;
}

}  // namespace sifterra::lsm
