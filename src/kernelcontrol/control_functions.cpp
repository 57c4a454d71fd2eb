// control_functions: the functions of sifterra.h. Each makes a stub, uses it once and frees it.
#include <arpa/inet.h>

#include <cstdio>

#include "kernelcontrol/https_filtering.h"
#include "kernelcontrol/stub.h"
#include "sifterra/sifterra.h"

static_assert(sizeof(ThornwickIPv4Address) == 16);
static_assert(sizeof(ThornwickIPv6Address) == 28);

namespace {

using sifterra::StubCreate;
using sifterra::StubFree;
using sifterra::ThornwickStub;

constexpr std::uint8_t kIPv4Family = 2;
constexpr std::uint8_t kIPv6Family = 30;

// _ThornwickSetValueForType
int setValueForType(const void* value, std::uint32_t length, int option) noexcept {
  ThornwickStub* stub = nullptr;
  if (StubCreate(&stub) != 0) {
    std::puts("**** ThornwickStubCreate failed");
    return 1;
  }
  const int result = StubSetValueForType(stub, value, length, option);
  if (result != 0) std::puts("**** ThornwickStubSetManagedUser failed");
  if (StubFree(stub) != 0) {
    std::puts("**** ThornwickStubFree failed");
    return 1;
  }
  return result;
}

// _ThornwickGetProxyAddressForType
int getProxyAddressForType(void* buffer, std::uint32_t length, int option) noexcept {
  if (!buffer) return 2;
  ThornwickStub* stub = nullptr;
  if (StubCreate(&stub) != 0) {
    std::puts("**** ThornwickStubCreate failed");
    return 1;
  }
  const int result = StubGetProxyAddress(stub, buffer, length, option);
  if (result != 0) std::puts("**** _StubGetProxyAddress failed");
  if (StubFree(stub) != 0) {
    std::puts("**** ThornwickStubFree failed");
    return 1;
  }
  return result;
}

// _ThornwickSetAddressForType
// Kept: an option call that fails is printed and not reported, other than by setValueForType. Whoever sets a
// proxy learns only whether there is a filter to tell.
int setAddressForType(const void* address, int option) noexcept {
  ThornwickStub* stub = nullptr;
  if (StubCreate(&stub) != 0) {
    std::puts("**** _StubCreate failed");
    return 1;
  }
  if (StubTellAddressForType(stub, address, option) != 0) std::puts("**** _StubTellAddressForType failed");
  if (StubFree(stub) != 0) {
    std::puts("**** _StubFree failed");
    return 1;
  }
  return 0;
}

}  // namespace

int sifterra::turnOnHTTPSFiltering() noexcept {
  return setValueForType(nullptr, 0, kHTTPSFilteringOption);
}

extern "C" {

// Kept: the stub is dropped without being freed; its connection stays open for the life of the process.
int ThornwickOpenControlSocket(void) {
  ThornwickStub* stub = nullptr;
  return StubCreate(&stub);
}

int ThornwickSetManagedUser(uint32_t uid) {
  return setValueForType(&uid, sizeof uid, sifterra::kManagedUserOption);
}

int ThornwickGetManagedUser(uint32_t* uid) {
  if (!uid) return 2;
  ThornwickStub* stub = nullptr;
  if (StubCreate(&stub) != 0) {
    std::puts("**** _StubCreate failed");
    return 1;
  }
  const int result = StubGetUserForType(stub, uid);
  if (result != 0) std::puts("**** _StubGetManagedUser failed");
  if (StubFree(stub) != 0) {
    std::puts("**** _StubFree failed");
    return 1;
  }
  return result;
}

int ThornwickSetIPv4Proxy(const ThornwickIPv4Address* address) {
  return address ? setAddressForType(address, sifterra::kIPv4ProxyOption) : 1;
}

int ThornwickSetIPv6Proxy(const ThornwickIPv6Address* address) {
  return address ? setAddressForType(address, sifterra::kIPv6ProxyOption) : 1;
}

int ThornwickGetIPv4Proxy(ThornwickIPv4Address* address) {
  return getProxyAddressForType(address, sizeof *address, sifterra::kIPv4ProxyOption);
}

int ThornwickGetIPv6Proxy(ThornwickIPv6Address* address) {
  return getProxyAddressForType(address, sizeof *address, sifterra::kIPv6ProxyOption);
}

int ThornwickSetProxyToLocalPort(int32_t port) {
  ThornwickIPv4Address ipv4{};
  ipv4.length = sizeof ipv4;
  ipv4.family = kIPv4Family;
  ipv4.port = htons(static_cast<uint16_t>(port));
  ipv4.address = htonl(INADDR_LOOPBACK);
  const int ipv4Result = ThornwickSetIPv4Proxy(&ipv4);
  if (ipv4Result != 0) std::printf("**** ThornwickSetIPv4Proxy failed!");
  // Kept: the unspecified address, not the loopback one, and no line end behind either text.
  ThornwickIPv6Address ipv6{};
  ipv6.length = sizeof ipv6;
  ipv6.family = kIPv6Family;
  ipv6.port = ipv4.port;
  const int ipv6Result = ThornwickSetIPv6Proxy(&ipv6);
  if (ipv6Result != 0) std::printf("**** ThornwickSetIPv6Proxy failed!");
  return ipv4Result + ipv6Result;
}

int ThornwickTurnOnHTTPSFiltering(void) {
  return sifterra::turnOnHTTPSFiltering();
}

int ThornwickDebugPrint(void) {
  return setAddressForType(nullptr, sifterra::kDebugPrintOption);
}

}  // extern "C"
