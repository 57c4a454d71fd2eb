// CharacterProperties.h: how characters act on their neighbours.
//
// ICU stands behind it; no ICU type shows here.
#pragma once

namespace sifterra::platform {

// Whether a character's form after appendNFKCCaseFolded (Unicode.h) is the same whatever stands before it: it
// neither joins with the character before nor changes places with it.
[[nodiscard]] bool normalizesAlone(char32_t c) noexcept;

}  // namespace sifterra::platform
