// Words are case-folded before they come here, so a pair may look alike in capitals only (H and Cyrillic EN).
// Where small and capital letters disagree (Greek NY looks like v, its capital like N), the small one counts.
#include "lsm/confusables.h"

#include <array>
#include <cstddef>

namespace sifterra::lsm {
namespace {

struct Pair {
  char32_t other;
  char latin;
  bool both;  // also stands for the Latin letter when a word is read back
};

constexpr Pair kCyrillic[] = {
    {U'\u0430', 'a', true},   // a
    {U'\u0432', 'b', true},   // ve: B
    {U'\u0435', 'e', true},   // ie
    {U'\u0451', 'e', false},  // io
    {U'\u0433', 'r', true},   // ghe
    {U'\u0438', 'u', true},   // i
    {U'\u043a', 'k', true},   // ka
    {U'\u043c', 'm', true},   // em
    {U'\u043d', 'h', true},   // en: H
    {U'\u043e', 'o', true},   // o
    {U'\u043f', 'n', true},   // pe
    {U'\u0440', 'p', true},   // er
    {U'\u0441', 'c', true},   // es
    {U'\u0442', 't', true},   // te
    {U'\u0443', 'y', true},   // u
    {U'\u0445', 'x', true},   // ha
    {U'\u044c', 'b', false},  // soft sign
    {U'\u0455', 's', true},   // dze
    {U'\u0456', 'i', true},   // Ukrainian i
    {U'\u0457', 'i', false},  // yi
    {U'\u0458', 'j', true},   // je
    {U'\u0475', 'v', true},   // izhitsa
    {U'\u04ab', 'c', false},  // es with descender
    {U'\u04af', 'y', false},  // straight u
    {U'\u04bb', 'h', false},  // shha
    {U'\u04cf', 'l', true},   // palochka
    {U'\u0501', 'd', true},   // komi de
    {U'\u051b', 'q', true},   // qa
    {U'\u051d', 'w', true},   // we
};

constexpr Pair kGreek[] = {
    {U'\u03b1', 'a', true},   // alpha
    {U'\u03ac', 'a', false},  // alpha with tonos
    {U'\u03b2', 'b', true},   // beta
    {U'\u03b3', 'y', false},  // gamma
    {U'\u03b5', 'e', true},   // epsilon
    {U'\u03ad', 'e', false},  // epsilon with tonos
    {U'\u03b6', 'z', true},   // zeta: Z
    {U'\u03b7', 'n', true},   // eta
    {U'\u03ae', 'n', false},  // eta with tonos
    {U'\u03b9', 'i', true},   // iota
    {U'\u03af', 'i', false},  // iota with tonos
    {U'\u03ba', 'k', true},   // kappa
    {U'\u03bc', 'm', true},   // my: M
    {U'\u03bd', 'v', true},   // ny
    {U'\u03bf', 'o', true},   // omicron
    {U'\u03cc', 'o', false},  // omicron with tonos
    {U'\u03c1', 'p', true},   // rho
    {U'\u03c3', 'o', false},  // sigma
    {U'\u03c4', 't', true},   // tau
    {U'\u03c5', 'u', true},   // ypsilon
    {U'\u03cd', 'u', false},  // ypsilon with tonos
    {U'\u03c7', 'x', true},   // chi
    {U'\u03c9', 'w', true},   // omega
    {U'\u03ce', 'w', false},  // omega with tonos
};

// All letters above stand between these two.
constexpr char32_t kFirstOther = U'\u0370';
constexpr char32_t kEndOther = U'\u0530';

// Both directions by table: every letter of an unknown word is asked for.
constexpr auto kLatinOf = [] {
  std::array<char, kEndOther - kFirstOther> table{};
  for (const Pair& pair : kCyrillic) table[pair.other - kFirstOther] = pair.latin;
  for (const Pair& pair : kGreek) table[pair.other - kFirstOther] = pair.latin;
  return table;
}();

using OtherLetters = std::array<char32_t, 26>;

template <std::size_t kCount>
constexpr OtherLetters othersOf(const Pair (&pairs)[kCount]) {
  OtherLetters table{};
  for (const Pair& pair : pairs) {
    char32_t& other = table[static_cast<std::size_t>(pair.latin - 'a')];
    if (pair.both && other == 0) other = pair.other;
  }
  return table;
}
constexpr OtherLetters kCyrillicOf = othersOf(kCyrillic);
constexpr OtherLetters kGreekOf = othersOf(kGreek);

}  // namespace

char32_t latinLookalike(char32_t c) noexcept {
  return c < kFirstOther || c >= kEndOther ? 0 : static_cast<unsigned char>(kLatinOf[c - kFirstOther]);
}

char32_t closeLatinLookalike(char32_t c) noexcept {
  const bool far = c == U'\u0433' || c == U'\u0438' || c == U'\u043f' || c == U'\u044c';
  return far ? 0 : latinLookalike(c);
}

char32_t lookalikeOfLatin(char32_t c, WordScript script) noexcept {
  if (c < U'a' || c > U'z') return 0;
  if (script == WordScript::kCyrillic) return kCyrillicOf[c - U'a'];
  return script == WordScript::kGreek ? kGreekOf[c - U'a'] : 0;
}

}  // namespace sifterra::lsm
