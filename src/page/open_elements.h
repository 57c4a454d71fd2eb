// open_elements.h: which elements stand open at a point of a page, never fewer than the parser has.
//
// The parser closes many elements by itself (a heading closes a paragraph). Rather than know all of
// its rules, this stack keeps every element until it is closed by its own end tag, or by one of its
// kind for the few kinds that never nest; whoever pops several must write their end tags out, so
// that the parser closes them too. Every step is constant time, amortised.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sifterra {

class OpenElements {
 public:
  using Name = std::uint32_t;

  enum class Kind : std::uint8_t {
    Ordinary,
    Void,        // never has content: br, img
    Document,    // html, head, body: at most one each, whatever the page says
    NeverNests,  // closes an open one of its kind: p, li
    Link,        // a: never nests, and the page model keeps it
    Frameset,    // the page model keeps it
    Title,       // the page model keeps it and its text
    RawText,     // script, style: no markup inside
  };

  // Which attributes of an element the page model reads.
  enum class Reads : std::uint8_t {
    None,
    Some,     // of a, img
    Unknown,  // a name with a prefix: the parser takes that off; and meta, which the parser reads as well
  };

  struct Entry {
    Name name;
    bool kept;  // its start tag stands in the output
    std::uint32_t sameNameBelow;
    std::uint32_t samePriorityBelow;
  };

  OpenElements();

  // The name's number; `name` in any ASCII case.
  Name intern(std::u16string_view name);
  [[nodiscard]] Kind kind(Name name) const { return names_[name].kind; }
  [[nodiscard]] Reads reads(Name name) const { return names_[name].reads; }
  [[nodiscard]] std::u16string_view text(Name name) const { return names_[name].text; }

  void push(Name name, bool kept);
  Entry pop();
  [[nodiscard]] bool empty() const noexcept { return stack_.empty(); }
  [[nodiscard]] const Entry& top() const { return stack_.back(); }
  // How many elements stand open whose start tags are in the output.
  [[nodiscard]] std::size_t keptDepth() const noexcept { return keptDepth_; }

  // Whether a title is open, by its name without a prefix, as the page model names it.
  [[nodiscard]] bool isTitleOpen() const noexcept { return openTitles_ > 0; }
  [[nodiscard]] bool isOpen(Name name) const { return names_[name].lastOpen != kNone; }
  // How many elements an end tag of this name closes: from the top down to the last open one of the name; 0
  // when none is open or an element of a higher rank (a table cell, say) stands in between.
  [[nodiscard]] std::size_t closedBy(Name name) const;
  // Whether the last open element of this name has its start tag in the output.
  [[nodiscard]] bool lastIsKept(Name name) const { return stack_[names_[name].lastOpen].kept; }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;
  static constexpr std::size_t kPriorities = 6;

  struct NameRecord {
    std::u16string text;  // lower case
    Kind kind;
    Reads reads;
    std::uint8_t priority;  // index into lastOfPriority_
    bool isTitle;
    std::uint32_t lastOpen = kNone;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view text) const noexcept {
      return std::hash<std::u16string_view>{}(text);
    }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const noexcept { return a == b; }
  };

  static constexpr std::size_t kRecent = 64;

  std::vector<NameRecord> names_;
  std::array<Name, kRecent> recent_{};  // by a few letters: a page says the same few names all the time
  std::unordered_map<std::u16string, Name, Hash, Equal> numbers_;
  std::vector<Entry> stack_;
  std::array<std::uint32_t, kPriorities> lastOfPriority_;
  std::size_t keptDepth_ = 0;
  std::size_t openTitles_ = 0;
};

}  // namespace sifterra
