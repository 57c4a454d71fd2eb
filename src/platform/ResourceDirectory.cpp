// ResourceDirectory: where the library finds its resources, fixed when it is built.
//
// The one file in which the library of the build tree and the installed one differ.
#include "platform/Bundle.h"

namespace sifterra::platform {

const char* builtInResourceDirectory() noexcept {
  return SIFTERRA_RESOURCE_DIRECTORY;
}

}  // namespace sifterra::platform
