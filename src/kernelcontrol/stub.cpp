// stub: the calls one by one, with the words that tell which of them failed.
//
// The texts are the ones that administrators' scripts look for; several name another function than the one
// that prints them.
#include "kernelcontrol/stub.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "platform/KernelControl.h"

namespace sifterra {

namespace {

using platform::ControlAddress;
using platform::ControlInfo;
using platform::KernelControl;

constexpr char kControlName[] = "com.vendrel.nke.webcontentfilter";
static_assert(sizeof kControlName <= sizeof ControlInfo::name);

bool isUsable(const ThornwickStub* stub) noexcept {
  return stub && stub->valid == 1;
}

ControlAddress addressOf(std::uint32_t identifier) noexcept {
  ControlAddress address{};
  address.length = sizeof address;
  address.family = platform::kSystemFamily;
  address.systemAddress = platform::kSystemAddressControl;
  address.identifier = identifier;
  return address;
}

}  // namespace

int StubCreate(ThornwickStub** stub) noexcept {
  constexpr auto kOp = "_StubCreate";
  if (!stub) {
    std::printf("%s error: stub is NULL\n", kOp);
    return 1;
  }
  *stub = nullptr;
  KernelControl& control = KernelControl::current();
  const int descriptor =
      control.socket(platform::kSystemFamily, platform::kDatagram, platform::kControlProtocol);
  if (descriptor < 0) {
    std::perror("Failed to contact the Kernel, socket() failed");
    return 1;
  }
  ControlInfo info{};
  std::memcpy(info.name, kControlName, sizeof kControlName);
  // Kept: the two failures below leave the socket open.
  if (control.ioctl(descriptor, platform::kControlInfoRequest, &info) != 0) {
    std::perror(
        "Failed to ioctl to the NKE, Thornwick KEXT is not running or can't accept any more connections");
    return 1;
  }
  const ControlAddress address = addressOf(info.identifier);
  if (control.connect(descriptor, &address, sizeof address) != 0) {
    std::perror(
        "Failed to connect to the NKE, Thornwick KEXT is not running or can't accept any more connections");
    return 1;
  }
  *stub = new (std::nothrow) ThornwickStub{1, descriptor};
  if (!*stub) {
    std::printf("%s error: stub couldn't be allocated\n", kOp);
    control.close(descriptor);
    return 1;
  }
  return 0;
}

int StubFree(ThornwickStub* stub) noexcept {
  if (!stub) {
    std::printf("%s error: stub is NULL\n", "_StubFree");
    return 1;
  }
  stub->valid = 0;
  KernelControl::current().close(stub->socket);
  delete stub;
  return 0;
}

int StubSetValueForType(const ThornwickStub* stub, const void* value, std::uint32_t length,
                        int option) noexcept {
  constexpr auto kOp = "_StubSetValueForType";
  if (!isUsable(stub)) {
    std::printf("%s error: stub is NULL or not valid\n", kOp);
    return 1;
  }
  const int result =
      KernelControl::current().setsockopt(stub->socket, platform::kControlProtocol, option, value, length);
  if (result == 0) return 0;
  // Kept, here and below: the text of the returned number, which is never the error's.
  std::printf("%s error: failed to set managed user: %s\n", kOp, std::strerror(result));
  return 1;
}

int StubGetUserForType(const ThornwickStub* stub, std::uint32_t* uid) noexcept {
  constexpr auto kOp = "_StubGetUserForType";
  *uid = 0;
  if (!isUsable(stub)) {
    std::printf("%s error: stub is NULL or not valid\n", kOp);
    return 1;
  }
  std::uint32_t value = 0;
  std::uint32_t length = sizeof value;
  const int result = KernelControl::current().getsockopt(stub->socket, platform::kControlProtocol,
                                                         kManagedUserOption, &value, &length);
  if (result != 0) {
    std::printf("%s error: failed to get current managed user: %s argumentResult:%d\n", kOp,
                std::strerror(result), static_cast<int>(value));
    return 1;
  }
  *uid = value;
  return 0;
}

int StubGetProxyAddress(const ThornwickStub* stub, void* buffer, std::uint32_t length, int option) noexcept {
  constexpr auto kOp = "_StubGetProxyAddress";
  if (!isUsable(stub)) {
    std::printf("%s error: stub is NULL or not valid\n", kOp);
    return 1;
  }
  const int result =
      KernelControl::current().getsockopt(stub->socket, platform::kControlProtocol, option, buffer, &length);
  if (result == 0) return 0;
  std::printf("%s failed error:%s\n", kOp, std::strerror(result));
  return 1;
}

int StubTellAddressForType(const ThornwickStub* stub, const void* address, int option) noexcept {
  constexpr auto kOp = "_StubTellAddressForType";
  if (!isUsable(stub)) {
    std::printf("%s error: stub is NULL or not valid\n", kOp);
    return 1;
  }
  const std::uint32_t length = address ? *static_cast<const std::uint8_t*>(address) : 0;
  const int result =
      KernelControl::current().setsockopt(stub->socket, platform::kControlProtocol, option, address, length);
  if (result == 0) return 0;
  std::printf("%s error: failed to set managed user: %s\n", kOp, std::strerror(result));
  return 1;
}

}  // namespace sifterra
