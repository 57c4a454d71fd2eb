// TextSection.h: the sections of a page's text, told apart by the marker words that stand before them.
//
// A page's text names its title fifteen times, its description and key words ten times each; the page itself
// follows once. Who writes the page writes all of them, so what the page is must show in its sections one by
// one as well as in all of them together.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace sifterra::lsm {

// In the order of the text.
enum class TextSection : std::uint8_t {
  kHeading,  // what stands before the first marker: the signature words
  kTitle,
  kTags,
  kDescription,
  kKeywords,
  kImageAlts,
  kLinkTitles,
  kContent,
};
inline constexpr std::size_t kTextSections = 8;

// The section that a marker word (a folded atom) begins.
[[nodiscard]] std::optional<TextSection> sectionOfMarker(std::string_view atom) noexcept;

// Units [from, to) of a text.
struct UnitRange {
  std::size_t from = 0;
  std::size_t to = 0;

  [[nodiscard]] std::size_t size() const noexcept { return to - from; }
  [[nodiscard]] bool operator==(const UnitRange&) const = default;
};

// Where the sections of a text start. Markers count in their order only: one that comes again, or too late,
// stands in the page itself and begins nothing.
class TextSections {
 public:
  // The marker of a section stands before unit `at`.
  void begin(TextSection section, std::size_t at) noexcept {
    for (; _begun < static_cast<std::size_t>(section); ++_begun) _starts[_begun + 1] = at;
  }
  // Whether there was any marker.
  [[nodiscard]] bool any() const noexcept { return _begun != 0; }
  // From one section to another, both included, of a text of `units` units.
  [[nodiscard]] UnitRange range(TextSection first, TextSection last, std::size_t units) const noexcept {
    return {startOf(static_cast<std::size_t>(first), units),
            startOf(static_cast<std::size_t>(last) + 1, units)};
  }
  // The number of the section that the text has come to, and of the one that a unit stands in.
  [[nodiscard]] std::size_t begun() const noexcept { return _begun; }
  [[nodiscard]] std::size_t sectionAt(std::size_t unit) const noexcept {
    std::size_t section = _begun;
    while (section > 0 && _starts[section] > unit) --section;
    return section;
  }
  // The same sections, where `units` more or fewer stand in the section of that number.
  void grow(std::size_t section, std::ptrdiff_t units) noexcept {
    for (std::size_t later = section + 1; later <= _begun; ++later) {
      _starts[later] = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(_starts[later]) + units);
    }
  }

 private:
  [[nodiscard]] std::size_t startOf(std::size_t section, std::size_t units) const noexcept {
    return section <= _begun ? _starts[section] : units;
  }

  std::array<std::size_t, kTextSections> _starts{};
  std::size_t _begun = 0;  // the section that the text has come to
};

}  // namespace sifterra::lsm
