// Export.h: marks what the shared library shows to programs that link with it.
//
// Everything else is hidden. packaging/sifterra.map and a test hold the list.
#pragma once

#define WF_API __attribute__((visibility("default")))
