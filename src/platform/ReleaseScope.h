// ReleaseScope: keeps objects alive that a C function handed out without giving them away.
//
// Each thread has a stack of scopes. An object added belongs to the innermost one and is dropped when
// that ends. A thread without an open scope has an implicit one, which ends at the thread's next call
// that hands out such objects:
//
//   WFStringRef WFDecodePage(WFDataRef data, WFStringRef charset) {
//     ReleaseScope::Call call;                      // first of all
//     ...
//     return borrowedHandle(result);
//   }
//
// What is left of a thread's objects is dropped when the thread ends.
#pragma once

#include <cstddef>

namespace sifterra::platform {

class ReleaseScope {
 public:
  // Stands for one call of a C function that hands out borrowed references. What the implicit scope
  // held from earlier calls goes when this call ends, not when it begins: arguments may be among it.
  // Calls nest; the outermost one counts.
  class Call {
   public:
    Call();
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

   private:
    std::size_t earlier_ = 0;  // how many objects of the implicit scope are older than this call
  };

  static void begin() noexcept;  // lack of memory ends the process
  static void end() noexcept;    // closes the innermost scope; nothing when there is none
  // Gives the reference that the caller owns to the current scope and returns it, now borrowed. NULL
  // is left alone.
  static const void* adopt(const void* object);
};

}  // namespace sifterra::platform
