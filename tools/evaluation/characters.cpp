#include "evaluation/characters.h"

#include <algorithm>
#include <array>

namespace sifterra::tools {
namespace {

struct CharacterRange {
  char32_t first;
  char32_t last;
};

constexpr std::array<CharacterRange, 26> kMarks = {
    {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
     {0x0670, 0x0670}, {0x06D6, 0x06DC}, {0x0900, 0x0903}, {0x093A, 0x093C}, {0x093E, 0x094F},
     {0x0951, 0x0957}, {0x0962, 0x0963}, {0x0981, 0x0983}, {0x09BC, 0x09BC}, {0x09BE, 0x09CD},
     {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x0EB1, 0x0EB1}, {0x0EB4, 0x0EBC},
     {0x102B, 0x103E}, {0x17B6, 0x17D3}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x3099, 0x309A},
     {0xFE20, 0xFE2F}}};

constexpr std::array<CharacterRange, 11> kIdeographs = {{{0x0E01, 0x0EFF},
                                                         {0x1000, 0x109F},
                                                         {0x1100, 0x11FF},
                                                         {0x1780, 0x17FF},
                                                         {0x3041, 0x30FF},
                                                         {0x3130, 0x318F},
                                                         {0x31F0, 0x31FF},
                                                         {0x3400, 0x4DBF},
                                                         {0x4E00, 0x9FFF},
                                                         {0xAC00, 0xD7A3},
                                                         {0x20000, 0x3FFFF}}};

// Beyond ASCII what is no letter: signs, blanks, pictures, surrogates, private use.
constexpr std::array<CharacterRange, 14> kOthers = {{{0x0080, 0x00A9},
                                                     {0x00AB, 0x00B4},
                                                     {0x00B6, 0x00B9},
                                                     {0x00BB, 0x00BF},
                                                     {0x00D7, 0x00D7},
                                                     {0x00F7, 0x00F7},
                                                     {0x060C, 0x060D},
                                                     {0x061B, 0x061F},
                                                     {0x0964, 0x0965},
                                                     {0x2000, 0x2BFF},
                                                     {0x2E00, 0x303F},
                                                     {0xD800, 0xFAFF},
                                                     {0xFE00, 0xFF20},
                                                     {0x1F000, 0x1FFFF}}};

template <std::size_t kCount>
bool isIn(const std::array<CharacterRange, kCount>& ranges, char32_t c) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [c](const CharacterRange& range) { return c >= range.first && c <= range.last; });
}

}  // namespace

char32_t nextCodePoint(std::string_view text, std::size_t& at) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at++);
  if (lead < 0x80) return lead;
  const std::size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : 0;
  if (more == 0 || at + more > text.size()) return U'\uFFFD';
  char32_t c = lead & (0x3FU >> more);
  for (std::size_t i = 0; i < more; ++i) {
    if ((byte(at + i) & 0xC0U) != 0x80U) return U'\uFFFD';
    c = (c << 6U) | (byte(at + i) & 0x3FU);
  }
  at += more;
  return c;
}

void appendUtf8(char32_t c, std::string& out) {
  const auto byte = [&out](char32_t value) { out.push_back(static_cast<char>(value)); };
  if (c < 0x80) {
    byte(c);
  } else if (c < 0x800) {
    byte(0xC0U | (c >> 6U));
    byte(0x80U | (c & 0x3FU));
  } else if (c < 0x10000) {
    byte(0xE0U | (c >> 12U));
    byte(0x80U | ((c >> 6U) & 0x3FU));
    byte(0x80U | (c & 0x3FU));
  } else {
    byte(0xF0U | (c >> 18U));
    byte(0x80U | ((c >> 12U) & 0x3FU));
    byte(0x80U | ((c >> 6U) & 0x3FU));
    byte(0x80U | (c & 0x3FU));
  }
}

CharacterKind kindOfCharacter(char32_t c) {
  if (c < 0x80) {
    if (c >= U'0' && c <= U'9') return CharacterKind::kDigit;
    const char32_t folded = c | 0x20U;
    return folded >= U'a' && folded <= U'z' ? CharacterKind::kLetter : CharacterKind::kOther;
  }
  if (isIn(kMarks, c)) return CharacterKind::kMark;
  if (isIn(kIdeographs, c)) return CharacterKind::kIdeograph;
  return isIn(kOthers, c) ? CharacterKind::kOther : CharacterKind::kLetter;
}

char32_t lowerCase(char32_t c) {
  const bool byThirtyTwo = (c >= U'A' && c <= U'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) ||
                           (c >= 0x391 && c <= 0x3A9) || (c >= 0x410 && c <= 0x42F);
  if (byThirtyTwo) return c + 0x20;
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  const bool oddIsCapital = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
  if (c >= 0x100 && c <= 0x17E && c != 0x138) return (c % 2 == 1) == oddIsCapital ? c + 1 : c;
  return c;
}

bool isLatinLetter(char32_t c) {
  return kindOfCharacter(c) == CharacterKind::kLetter && (c < 0x250 || (c >= 0x1E00 && c < 0x1F00));
}

}  // namespace sifterra::tools
