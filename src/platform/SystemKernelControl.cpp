// SystemKernelControl: nothing but the calls; and which implementation the host has.
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/KernelControl.h"

namespace sifterra::platform {

namespace {

std::atomic<KernelControl*>& replacement() noexcept {
  static constinit std::atomic<KernelControl*> replacement{nullptr};
  return replacement;
}

KernelControl& hostControl() {
#if __has_include(<sys/kern_control.h>)
  static auto& control =
      *new SystemKernelControl;  // never destroyed: threads may ask while the process exits
#else
  // Elsewhere the family's number belongs to something else.
  static auto& control = *new ServiceKernelControl;
#endif
  return control;
}

}  // namespace

KernelControl& KernelControl::current() {
  if (KernelControl* other = replacement().load(std::memory_order_acquire)) return *other;
  return hostControl();
}

void KernelControl::setCurrentForTesting(KernelControl* control) noexcept {
  replacement().store(control, std::memory_order_release);
}

int SystemKernelControl::socket(int family, int type, int protocol) noexcept {
  return ::socket(family, type, protocol);
}

int SystemKernelControl::ioctl(int descriptor, unsigned long request, void* argument) noexcept {
  return ::ioctl(descriptor, request, argument);
}

int SystemKernelControl::connect(int descriptor, const void* address, std::uint32_t length) noexcept {
  return ::connect(descriptor, static_cast<const sockaddr*>(address), length);
}

int SystemKernelControl::setsockopt(int descriptor, int level, int option, const void* value,
                                    std::uint32_t length) noexcept {
  return ::setsockopt(descriptor, level, option, value, length);
}

int SystemKernelControl::getsockopt(int descriptor, int level, int option, void* value,
                                    std::uint32_t* length) noexcept {
  return ::getsockopt(descriptor, level, option, value, length);
}

int SystemKernelControl::close(int descriptor) noexcept {
  return ::close(descriptor);
}

}  // namespace sifterra::platform
