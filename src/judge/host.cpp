// host: what a host program asks of and tells the library as a whole.
#include <string>

#include "platform/FileSystem.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"

extern "C" {

const char* WFVersion(void) {
  return SIFTERRA_VERSION;
}

void WFSetFileSystemRoot(const char* directory) {
  sifterra::guarded("WFSetFileSystemRoot",
                    [&] { sifterra::platform::setFileSystemRoot(directory ? directory : ""); });
}

}  // extern "C"
