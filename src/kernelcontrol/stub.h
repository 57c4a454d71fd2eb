// stub.h: one connection to the filter's control, and one option call on it.
//
// Each function of sifterra.h makes a stub, calls one of the Stub... functions and frees the stub. All print
// what went wrong to standard output or standard error; results are 0 for success, 1 for failure, and 2 from
// a getter without a place for its answer.
#pragma once

#include <cstdint>

namespace sifterra {

struct ThornwickStub {
  std::uint16_t valid;  // 1 until the stub is freed
  std::int32_t socket;  // connected
};

// Socket options of the control.
inline constexpr int kManagedUserOption = 1;
inline constexpr int kIPv4ProxyOption = 2;
inline constexpr int kIPv6ProxyOption = 3;
inline constexpr int kHTTPSFilteringOption = 4;
inline constexpr int kDebugPrintOption = 5;

// _StubCreate: *stub is the caller's, to be given to StubFree; null after a failure.
[[nodiscard]] int StubCreate(ThornwickStub** stub) noexcept;
int StubFree(ThornwickStub* stub) noexcept;

// The calls, on a stub that may be null or freed already.
[[nodiscard]] int StubSetValueForType(const ThornwickStub* stub, const void* value, std::uint32_t length,
                                      int option) noexcept;
[[nodiscard]] int StubGetUserForType(const ThornwickStub* stub, std::uint32_t* uid) noexcept;
[[nodiscard]] int StubGetProxyAddress(const ThornwickStub* stub, void* buffer, std::uint32_t length,
                                      int option) noexcept;
// address: null, or a record whose first byte tells its length.
[[nodiscard]] int StubTellAddressForType(const ThornwickStub* stub, const void* address, int option) noexcept;

}  // namespace sifterra
