// confusables.h: letters of one alphabet that pass for letters of another.
#pragma once

#include <string_view>

#include "lsm/WordScript.h"

namespace sifterra::lsm {

// The Latin letter that a folded Cyrillic or Greek one looks like; 0 when there is none.
[[nodiscard]] char32_t latinLookalike(char32_t c) noexcept;
// The same for letters that hardly anybody tells apart, which are enough to take a word for one of another
// alphabet: not GHE for r, nor I for u, PE for n or the soft sign for b.
[[nodiscard]] char32_t closeLatinLookalike(char32_t c) noexcept;
// The Cyrillic or Greek letter (`script`) that a folded Latin one looks like; 0 when there is none.
[[nodiscard]] char32_t lookalikeOfLatin(char32_t c, WordScript script) noexcept;

}  // namespace sifterra::lsm
