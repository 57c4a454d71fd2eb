// KeptObjects: what is allocated while one lives is left out by a leak checker. For what is lost on purpose.
#pragma once

extern "C" {
void __lsan_disable(void) __attribute__((weak));
void __lsan_enable(void) __attribute__((weak));
}

namespace sifterra {

class KeptObjects {
 public:
  KeptObjects() {
    if (__lsan_disable) __lsan_disable();
  }
  ~KeptObjects() {
    if (__lsan_enable) __lsan_enable();
  }
  KeptObjects(const KeptObjects&) = delete;
  KeptObjects& operator=(const KeptObjects&) = delete;
};

}  // namespace sifterra
