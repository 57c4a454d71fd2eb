// Tests of the control functions over the real socket, to the last byte on the wire.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>

#include "kernelcontrol/KeptObjects.h"
#include "kernelcontrol/ScriptedService.h"
#include "platform/FileSystem.h"
#include "platform/KernelControl.h"
#include "sifterra/sifterra.h"

namespace sifterra {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class ControlServiceTest : public testing::Test {
 protected:
  ControlServiceTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "control-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    platform::setFileSystemRoot(root_);
    platform::KernelControl::setCurrentForTesting(&control_);
  }
  ~ControlServiceTest() override {
    platform::KernelControl::setCurrentForTesting(nullptr);
    platform::setFileSystemRoot("");
    std::filesystem::remove_all(root_);
  }

  static int openDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
  }

  int call(const std::function<int()>& function) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = function();
    std::fflush(stdout);
    out_ = testing::internal::GetCapturedStdout();
    err_ = testing::internal::GetCapturedStderr();
    return result;
  }

  platform::ServiceKernelControl control_{300ms};  // counts messages from 1
  std::string root_;
  std::string out_;
  std::string err_;
};

// A header: the mark, operation and number; then option or status, length, payload.
std::string question(int operation, int number, const std::string& rest) {
  char head[32];
  std::snprintf(head, sizeof head, "57465131%02x000000%02x000000", operation, number);
  return "< " + (head + rest);
}
std::string answer(int operation, int number, const std::string& rest) {
  return "> 57464131" + question(operation, number, rest).substr(10);
}
const std::string kNothing = "0000000000000000";

TEST_F(ControlServiceTest, EachFunctionIsOneAdmissionAndOneOptionMessage) {
  ThornwickIPv4Address ipv4{16, 2, 0x901f, 0x0100007f, {}};
  ThornwickIPv6Address ipv6{28, 30, 0x901f, 0, {}, 7};
  struct Row {
    std::function<int()> function;
    int operation;
    std::string request;
  };
  const Row rows[] = {
      {[] { return ThornwickSetManagedUser(501); }, 2, "0100000004000000f5010000"},
      {[&] { return ThornwickSetIPv4Proxy(&ipv4); }, 2, "020000001000000010021f907f0000010000000000000000"},
      {[&] { return ThornwickSetIPv6Proxy(&ipv6); }, 2,
       "030000001c0000001c1e1f90" + std::string(40, '0') + "07000000"},
      {[] { return ThornwickTurnOnHTTPSFiltering(); }, 2, "0400000000000000"},
      {[] { return ThornwickDebugPrint(); }, 2, "0500000000000000"},
  };
  ScriptedService service(root_, {accepts()});
  std::vector<std::string> expected;
  int connection = 0;
  for (const Row& row : rows) {
    EXPECT_EQ(call(row.function), 0);
    EXPECT_EQ(out_ + err_, "");
    const std::string prefix = std::to_string(++connection) + " ";
    const int number = 2 * connection - 1;
    expected.insert(
        expected.end(),
        {prefix + "peer", prefix + question(1, number, kNothing), prefix + answer(1, number, kNothing),
         prefix + question(row.operation, number + 1, row.request),
         prefix + answer(row.operation, number + 1, kNothing), prefix + "closed"});
  }
  // Where one connection's end and the next one's beginning come together, either may be seen first.
  EXPECT_THAT(service.trace(), testing::UnorderedElementsAreArray(expected));
}

TEST_F(ControlServiceTest, GettersAskForAsMuchAsTheyTake) {
  const std::string uid("\xF5\x01\0\0", 4);
  const std::string ipv4("\x10\x02\x1F\x90\x7F\0\0\1\0\0\0\0\0\0\0\0", 16);
  const std::string ipv6 = "\x1C\x1E" + std::string(26, '\1');
  ScriptedService service(root_,
                          {accepts(), accepts(uid), accepts(), accepts(ipv4), accepts(), accepts(ipv6)});
  std::uint32_t user = 0;
  ThornwickIPv4Address ipv4Proxy{};
  ThornwickIPv6Address ipv6Proxy{};
  EXPECT_EQ(ThornwickGetManagedUser(&user), 0);
  EXPECT_EQ(ThornwickGetIPv4Proxy(&ipv4Proxy), 0);
  EXPECT_EQ(ThornwickGetIPv6Proxy(&ipv6Proxy), 0);
  EXPECT_EQ(user, 501U);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&ipv4Proxy), 16), ipv4);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&ipv6Proxy), 28), ipv6);
  std::vector<std::string> requests;
  for (const std::string& line : service.trace()) {
    if (line.find("< 5746513103") != std::string::npos) requests.push_back(line);
  }
  EXPECT_THAT(requests, ElementsAre("1 " + question(3, 2, "0100000004000000"),
                                    "2 " + question(3, 4, "0200000010000000"),
                                    "3 " + question(3, 6, "030000001c000000")));
}

TEST_F(ControlServiceTest, WithoutAServiceSetManagedUserLeavesOneDescriptorOpen) {
  const int before = openDescriptors();
  EXPECT_EQ(call([] { return ThornwickSetManagedUser(501); }), 1);
  EXPECT_EQ(err_,
            "Failed to ioctl to the NKE, Thornwick KEXT is not running or can't accept any more connections: "
            "No such "
            "file or directory\n");
  EXPECT_EQ(out_, "**** ThornwickStubCreate failed\n");
  EXPECT_EQ(openDescriptors(), before + 1);
}

TEST_F(ControlServiceTest, ARefusedAdmissionLeavesOneDescriptorOpen) {
  const ScriptedService service(root_, {refuses(EBUSY)});
  const int before = openDescriptors();
  EXPECT_EQ(call([] { return ThornwickTurnOnHTTPSFiltering(); }), 1);
  EXPECT_EQ(err_,
            "Failed to connect to the NKE, Thornwick KEXT is not running or can't accept any more "
            "connections: Device "
            "or resource busy\n");
  EXPECT_EQ(out_, "**** ThornwickStubCreate failed\n");
  EXPECT_EQ(openDescriptors(), before + 1);
}

TEST_F(ControlServiceTest, OpenControlSocketLeavesItsConnectionOpen) {
  ScriptedService service(root_, {accepts()});
  const KeptObjects kept;
  const int before = openDescriptors();
  EXPECT_EQ(call(&ThornwickOpenControlSocket), 0);
  EXPECT_EQ(openDescriptors(), before + 1);
  EXPECT_THAT(service.trace(),
              ElementsAre("1 peer", "1 " + question(1, 1, kNothing), "1 " + answer(1, 1, kNothing)));
}

TEST_F(ControlServiceTest, CallsThatGoWellOrAreRefusedLeaveNothingOpen) {
  const ScriptedService service(root_, {accepts(), accepts(), accepts(), refuses(EPERM)});
  const int before = openDescriptors();
  EXPECT_EQ(call([] { return ThornwickSetManagedUser(1); }), 0);
  EXPECT_EQ(call([] { return ThornwickSetManagedUser(1); }), 1);
  EXPECT_EQ(out_,
            "_StubSetValueForType error: failed to set managed user: Unknown error -1\n"
            "**** ThornwickStubSetManagedUser failed\n");
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ControlServiceTest, ASilentServiceDoesNotHoldTheCaller) {
  const ScriptedService service(root_, {staysSilent()});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(call([] { return ThornwickSetProxyToLocalPort(8080); }), 2);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  EXPECT_NE(err_.find("Connection timed out"), std::string::npos);
}

TEST_F(ControlServiceTest, OptionsRefusedByTheServiceDoNotFailSetProxyToLocalPort) {
  const ScriptedService service(root_, {accepts(), refuses(EPERM), accepts(), refuses(EPERM)});
  EXPECT_EQ(call([] { return ThornwickSetProxyToLocalPort(8080); }), 0);
}

}  // namespace
}  // namespace sifterra
