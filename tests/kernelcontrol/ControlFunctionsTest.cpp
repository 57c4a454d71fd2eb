// Tests of the control functions, call by call: what they ask of the system, print and answer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "kernelcontrol/KeptObjects.h"
#include "kernelcontrol/RecordingControl.h"
#include "sifterra/sifterra.h"

namespace sifterra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// "com.vendrel.nke.webcontentfilter", padded with zeros to 96 bytes, behind an identifier of 0.
const std::string kLookUp =
    "00000000"
    "636f6d2e76656e6472656c2e6e6b652e776562636f6e74656e7466696c746572" +
    std::string(std::size_t{2} * 64, '0');
const std::string kSocket = "socket 32 2 2";
const std::string kIoctl = "ioctl 100 3227799043 " + kLookUp;  // 0xc0644e03
// Length 32, family 32, kernel control 2, the identifier, unit 0, five words of 0.
const std::string kConnect = "connect 100 202002002a000000" + std::string(48, '0');

constexpr char kSocketMessage[] = "Failed to contact the Kernel, socket() failed: Too many open files\n";
constexpr char kIoctlMessage[] =
    "Failed to ioctl to the NKE, Thornwick KEXT is not running or can't accept any more connections: No such "
    "file or directory\n";
constexpr char kConnectMessage[] =
    "Failed to connect to the NKE, Thornwick KEXT is not running or can't accept any more connections: "
    "Device or "
    "resource busy\n";

// What one call answers and prints.
struct Outcome {
  int result = -1;
  std::string out;
  std::string err;
};

Outcome outcomeOf(const std::function<int()>& call) {
  Outcome outcome;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  outcome.result = call();
  std::fflush(stdout);
  outcome.out = testing::internal::GetCapturedStdout();
  outcome.err = testing::internal::GetCapturedStderr();
  return outcome;
}

ThornwickIPv4Address someIPv4() {
  return {16, 2, 0x3412, 0x0100007f, {}};
}
ThornwickIPv6Address someIPv6() {
  ThornwickIPv6Address address{28, 30, 0x3412, 0, {}, 7};
  address.address[15] = 1;
  return address;
}

struct Function {
  const char* name;
  std::function<int()> call;
  const char* createFailed;  // what it prints when no stub can be made
};

std::vector<Function> functions() {
  static std::uint32_t uid;
  static ThornwickIPv4Address ipv4;
  static ThornwickIPv6Address ipv6;
  ipv4 = someIPv4();
  ipv6 = someIPv6();
  return {
      {"OpenControlSocket", [] { return ThornwickOpenControlSocket(); }, ""},
      {"SetManagedUser", [] { return ThornwickSetManagedUser(501); }, "**** ThornwickStubCreate failed\n"},
      {"GetManagedUser", [] { return ThornwickGetManagedUser(&uid); }, "**** _StubCreate failed\n"},
      {"SetIPv4Proxy", [] { return ThornwickSetIPv4Proxy(&ipv4); }, "**** _StubCreate failed\n"},
      {"SetIPv6Proxy", [] { return ThornwickSetIPv6Proxy(&ipv6); }, "**** _StubCreate failed\n"},
      {"GetIPv4Proxy", [] { return ThornwickGetIPv4Proxy(&ipv4); }, "**** ThornwickStubCreate failed\n"},
      {"GetIPv6Proxy", [] { return ThornwickGetIPv6Proxy(&ipv6); }, "**** ThornwickStubCreate failed\n"},
      {"TurnOnHTTPSFiltering", [] { return ThornwickTurnOnHTTPSFiltering(); },
       "**** ThornwickStubCreate failed\n"},
      {"DebugPrint", [] { return ThornwickDebugPrint(); }, "**** _StubCreate failed\n"},
  };
}

TEST(ControlFunctions, EachMakesOneConnectionOneOptionCallAndOneClose) {
  struct Row {
    const char* name;
    const char* option;
  };
  constexpr Row kRows[] = {
      {"SetManagedUser", "setsockopt 100 2 1 f5010000 4"},
      {"GetManagedUser", "getsockopt 100 2 1 4"},
      {"SetIPv4Proxy", "setsockopt 100 2 2 100212347f0000010000000000000000 16"},
      {"SetIPv6Proxy",
       "setsockopt 100 2 3 1c1e12340000000000000000000000000000000000000001"
       "07000000 28"},
      {"GetIPv4Proxy", "getsockopt 100 2 2 16"},
      {"GetIPv6Proxy", "getsockopt 100 2 3 28"},
      {"TurnOnHTTPSFiltering", "setsockopt 100 2 4 null 0"},
      {"DebugPrint", "setsockopt 100 2 5 null 0"},
  };
  std::size_t row = 0;
  for (const Function& function : functions()) {
    if (function.name == std::string("OpenControlSocket")) continue;
    SCOPED_TRACE(function.name);
    ASSERT_EQ(function.name, std::string(kRows[row].name));
    RecordingControl control;
    const Outcome outcome = outcomeOf(function.call);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(control.calls, ElementsAre(kSocket, kIoctl, kConnect, kRows[row].option, "close 100"));
    EXPECT_THAT(control.open, IsEmpty());
    ++row;
  }
}

TEST(ControlFunctions, OpenControlSocketLeavesItsConnectionOpen) {
  RecordingControl control;
  const KeptObjects kept;
  const Outcome outcome = outcomeOf(&ThornwickOpenControlSocket);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(control.calls, ElementsAre(kSocket, kIoctl, kConnect));
  EXPECT_THAT(control.open, ElementsAre(100));
}

TEST(ControlFunctions, WithoutASocketNothingElseIsTried) {
  for (const Function& function : functions()) {
    SCOPED_TRACE(function.name);
    RecordingControl control;
    control.socketError = EMFILE;
    const Outcome outcome = outcomeOf(function.call);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.err, kSocketMessage);
    EXPECT_EQ(outcome.out, function.createFailed);
    EXPECT_THAT(control.calls, ElementsAre(kSocket));
  }
}

TEST(ControlFunctions, AFailedLookUpLeavesOneDescriptorOpen) {
  for (const Function& function : functions()) {
    SCOPED_TRACE(function.name);
    RecordingControl control;
    control.ioctlError = ENOENT;
    const Outcome outcome = outcomeOf(function.call);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.err, kIoctlMessage);
    EXPECT_EQ(outcome.out, function.createFailed);
    EXPECT_THAT(control.calls, ElementsAre(kSocket, kIoctl));
    EXPECT_THAT(control.open, ElementsAre(100));
  }
}

TEST(ControlFunctions, AFailedConnectionLeavesOneDescriptorOpen) {
  for (const Function& function : functions()) {
    SCOPED_TRACE(function.name);
    RecordingControl control;
    control.connectError = EBUSY;
    const Outcome outcome = outcomeOf(function.call);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.err, kConnectMessage);
    EXPECT_EQ(outcome.out, function.createFailed);
    EXPECT_THAT(control.calls, ElementsAre(kSocket, kIoctl, kConnect));
    EXPECT_THAT(control.open, ElementsAre(100));
  }
}

// The text is the one of the returned number, whatever errno says.
TEST(ControlFunctions, RefusedOptionsArePrintedAndSomeAreReported) {
  struct Row {
    const char* name;
    int result;
    const char* out;
  };
  constexpr Row kRows[] = {
      {"SetManagedUser", 1,
       "_StubSetValueForType error: failed to set managed user: Unknown error -1\n"
       "**** ThornwickStubSetManagedUser failed\n"},
      {"GetManagedUser", 1,
       "_StubGetUserForType error: failed to get current managed user: Unknown error -1 argumentResult:7\n"
       "**** _StubGetManagedUser failed\n"},
      {"SetIPv4Proxy", 0,
       "_StubTellAddressForType error: failed to set managed user: Unknown error -1\n"
       "**** _StubTellAddressForType failed\n"},
      {"SetIPv6Proxy", 0,
       "_StubTellAddressForType error: failed to set managed user: Unknown error -1\n"
       "**** _StubTellAddressForType failed\n"},
      {"GetIPv4Proxy", 1,
       "_StubGetProxyAddress failed error:Unknown error -1\n**** _StubGetProxyAddress failed\n"},
      {"GetIPv6Proxy", 1,
       "_StubGetProxyAddress failed error:Unknown error -1\n**** _StubGetProxyAddress failed\n"},
      {"TurnOnHTTPSFiltering", 1,
       "_StubSetValueForType error: failed to set managed user: Unknown error -1\n"
       "**** ThornwickStubSetManagedUser failed\n"},
      {"DebugPrint", 0,
       "_StubTellAddressForType error: failed to set managed user: Unknown error -1\n"
       "**** _StubTellAddressForType failed\n"},
  };
  std::size_t row = 0;
  for (const Function& function : functions()) {
    if (function.name == std::string("OpenControlSocket")) continue;
    SCOPED_TRACE(function.name);
    RecordingControl control;
    control.optionResult = -1;
    control.optionValue = std::string("\7\0\0\0", 4);
    const Outcome outcome = outcomeOf(function.call);
    EXPECT_EQ(outcome.result, kRows[row].result);
    EXPECT_EQ(outcome.out, kRows[row].out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(control.calls.back(), "close 100");
    EXPECT_THAT(control.open, IsEmpty());
    ++row;
  }
}

TEST(ControlFunctions, TheErrorTextIsTheOneOfTheReturnedNumber) {
  RecordingControl control;
  control.optionResult = EACCES;
  EXPECT_EQ(outcomeOf([] { return ThornwickSetManagedUser(1); }).out,
            "_StubSetValueForType error: failed to set managed user: Permission denied\n"
            "**** ThornwickStubSetManagedUser failed\n");
}

TEST(ControlFunctions, GettersNeedAPlaceForTheAnswer) {
  RecordingControl control;
  EXPECT_EQ(ThornwickGetManagedUser(nullptr), 2);
  EXPECT_EQ(ThornwickGetIPv4Proxy(nullptr), 2);
  EXPECT_EQ(ThornwickGetIPv6Proxy(nullptr), 2);
  EXPECT_THAT(control.calls, IsEmpty());
}

TEST(ControlFunctions, SettersRefuseANullAddressWithoutAsking) {
  RecordingControl control;
  const Outcome outcome =
      outcomeOf([] { return ThornwickSetIPv4Proxy(nullptr) * 10 + ThornwickSetIPv6Proxy(nullptr); });
  EXPECT_EQ(outcome.result, 11);
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(control.calls, IsEmpty());
}

TEST(ControlFunctions, GettersStoreWhatTheControlTells) {
  RecordingControl control;
  std::uint32_t uid = 1;
  control.optionValue = std::string("\xF5\x01\0\0", 4);
  EXPECT_EQ(ThornwickGetManagedUser(&uid), 0);
  EXPECT_EQ(uid, 501U);
  ThornwickIPv4Address ipv4{};
  control.optionValue = std::string("\x10\2\x1F\x90\x7F\0\0\1", 8);
  EXPECT_EQ(ThornwickGetIPv4Proxy(&ipv4), 0);
  EXPECT_EQ(hex(&ipv4, 8), "10021f907f000001");
  ThornwickIPv6Address ipv6{};
  control.optionValue = std::string(28, '\x1C');
  EXPECT_EQ(ThornwickGetIPv6Proxy(&ipv6), 0);
  EXPECT_EQ(ipv6.scope, 0x1c1c1c1cU);
}

TEST(ControlFunctions, GetManagedUserAnswersZeroOnlyWhenTheOptionFails) {
  RecordingControl control;
  std::uint32_t uid = 77;
  control.optionResult = -1;
  EXPECT_EQ(outcomeOf([&] { return ThornwickGetManagedUser(&uid); }).result, 1);
  EXPECT_EQ(uid, 0U);
  uid = 77;
  control.connectError = EBUSY;
  EXPECT_EQ(outcomeOf([&] { return ThornwickGetManagedUser(&uid); }).result, 1);
  EXPECT_EQ(uid, 77U);
}

TEST(ControlFunctions, TheLengthOfAnAddressIsItsFirstByte) {
  RecordingControl control;
  ThornwickIPv4Address address = someIPv4();
  address.length = 8;
  EXPECT_EQ(ThornwickSetIPv4Proxy(&address), 0);
  EXPECT_EQ(control.calls[3], "setsockopt 100 2 2 080212347f000001 8");
  address.length = 0;
  EXPECT_EQ(ThornwickSetIPv4Proxy(&address), 0);
  EXPECT_EQ(control.calls[8], "setsockopt 101 2 2  0");
}

TEST(ControlFunctions, SetProxyToLocalPortTellsLoopbackAndTheUnspecifiedAddress) {
  const std::string ipv4 = "setsockopt 100 2 2 10021f907f0000010000000000000000 16";
  const std::string ipv6 = "setsockopt 101 2 3 1c1e1f90" + std::string(48, '0') + " 28";
  RecordingControl control;
  EXPECT_EQ(ThornwickSetProxyToLocalPort(8080), 0);
  ASSERT_EQ(control.calls.size(), 10U);
  EXPECT_EQ(control.calls[3], ipv4);
  EXPECT_EQ(control.calls[8], ipv6);
  EXPECT_THAT(control.open, IsEmpty());
}

TEST(ControlFunctions, SetProxyToLocalPortTakesTheLow16BitsOfThePort) {
  RecordingControl control;
  EXPECT_EQ(ThornwickSetProxyToLocalPort(0x7fff1f90), 0);
  EXPECT_EQ(ThornwickSetProxyToLocalPort(-1), 0);
  EXPECT_EQ(control.calls[3], "setsockopt 100 2 2 10021f907f0000010000000000000000 16");
  EXPECT_EQ(control.calls[13], "setsockopt 102 2 2 1002ffff7f0000010000000000000000 16");
}

TEST(ControlFunctions, SetProxyToLocalPortIsZeroWhenBothOptionsAreRefused) {
  RecordingControl control;
  control.optionResult = -1;
  const Outcome outcome = outcomeOf([] { return ThornwickSetProxyToLocalPort(8080); });
  EXPECT_EQ(outcome.result, 0);
  const std::string once =
      "_StubTellAddressForType error: failed to set managed user: Unknown error -1\n"
      "**** _StubTellAddressForType failed\n";
  EXPECT_EQ(outcome.out, once + once);
}

TEST(ControlFunctions, SetProxyToLocalPortIsTheSumOfTwoFailures) {
  RecordingControl control;
  control.ioctlError = ENOENT;
  const Outcome outcome = outcomeOf([] { return ThornwickSetProxyToLocalPort(8080); });
  EXPECT_EQ(outcome.result, 2);
  EXPECT_EQ(outcome.out,
            "**** _StubCreate failed\n**** ThornwickSetIPv4Proxy failed!"
            "**** _StubCreate failed\n**** ThornwickSetIPv6Proxy failed!");
  EXPECT_EQ(outcome.err, std::string(kIoctlMessage) + kIoctlMessage);
  EXPECT_THAT(control.open, ElementsAre(100, 101));
}

}  // namespace
}  // namespace sifterra
