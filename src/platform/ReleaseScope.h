// ReleaseScope: keeps objects alive that a C function handed out without giving them away.
//
// Each thread has a stack of scopes. An object added belongs to the innermost one and is dropped
// when that ends. Without an open scope, one that each call to startImplicitScope() empties.
#pragma once

#include "sifterra/sifterra.h"

namespace sifterra::platform {

class ReleaseScope {
 public:
  static void begin();
  static void end();  // closes the innermost scope; nothing when there is none
  // Called once at the start of every C function that hands out borrowed references: ends the
  // implicit scope of a thread without an open one.
  static void startCall();
  // Gives the reference that the caller owns to the current scope and returns it, now borrowed.
  static const void* adopt(const void* object);
};

}  // namespace sifterra::platform
