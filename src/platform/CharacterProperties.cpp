#include "platform/CharacterProperties.h"

#include <unicode/normalizer2.h>

namespace sifterra::platform {

bool normalizesAlone(char32_t c) noexcept {
  // ICU's own object, kept for the life of the process; null when ICU's data is missing.
  static const icu::Normalizer2* const normalizer = [] {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* found = icu::Normalizer2::getNFKCCasefoldInstance(status);
    return U_SUCCESS(status) ? found : nullptr;
  }();
  return normalizer == nullptr || normalizer->hasBoundaryBefore(static_cast<UChar32>(c)) != 0;
}

}  // namespace sifterra::platform
