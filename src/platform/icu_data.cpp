// icu_data: one call.
#include "platform/icu_data.h"

#include <unicode/udata.h>

namespace sifterra::platform {

LinkedUnicodeDataOnly::LinkedUnicodeDataOnly() noexcept {
  UErrorCode error = U_ZERO_ERROR;
  udata_setFileAccess(UDATA_NO_FILES, &error);
}

}  // namespace sifterra::platform
