// WordScript.h: the writing systems that the engine tells apart.
//
// A map says which of them contribute words: a script that training saw too little ordinary text in says
// nothing about a page, so its words are left out instead of being taken for unusual ones. The numbers are
// bit positions in the map file and never change; new scripts are added before kOther's use of the rest.
#pragma once

#include <cstdint>

namespace sifterra::lsm {

enum class WordScript : std::uint8_t {
  kCommon = 0,  // numbers and signature words: never gated
  kLatin = 1,
  kGreek = 2,
  kCyrillic = 3,
  kHan = 4,
  kKana = 5,  // Hiragana and Katakana
  kHangul = 6,
  kThai = 7,
  kLao = 8,
  kKhmer = 9,
  kMyanmar = 10,
  kArabic = 11,
  kHebrew = 12,
  kDevanagari = 13,
  kBengali = 14,
  kTamil = 15,
  kTelugu = 16,
  kGujarati = 17,
  kGurmukhi = 18,
  kKannada = 19,
  kMalayalam = 20,
  kSinhala = 21,
  kGeorgian = 22,
  kArmenian = 23,
  kEthiopic = 24,
  kTibetan = 25,
  kMongolian = 26,
  kOther = 63,
};

// A set of scripts, one bit each.
using WordScriptSet = std::uint64_t;
inline constexpr WordScriptSet kAllWordScripts = ~WordScriptSet{0};

[[nodiscard]] constexpr WordScriptSet bitOf(WordScript script) noexcept {
  return WordScriptSet{1} << static_cast<unsigned>(script);
}

}  // namespace sifterra::lsm
