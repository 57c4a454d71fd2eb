// Tests of the kernel-control calls over the socket, with a process at its other end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "kernelcontrol/ScriptedService.h"
#include "platform/FileSystem.h"
#include "platform/KernelControl.h"

namespace sifterra::platform {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr char kName[] = "com.vendrel.nke.webcontentfilter";

class ServiceKernelControlTest : public testing::Test {
 protected:
  ServiceKernelControlTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "control-XXXXXX").string();
    root_ = ::mkdtemp(pattern.data());
    setFileSystemRoot(root_);
  }
  ~ServiceKernelControlTest() override {
    if (descriptor_ >= 0) ::close(descriptor_);
    setFileSystemRoot("");
    std::filesystem::remove_all(root_);
  }

  void open() { ASSERT_GE(descriptor_ = control_.socket(32, 2, 2), 0); }
  int lookUp(const std::string& name = kName) {
    info_ = {};
    name.copy(info_.name, sizeof info_.name);
    return control_.ioctl(descriptor_, kControlInfoRequest, &info_);
  }
  int admit() {
    ControlAddress address{32, 32, 2, info_.identifier, 0, {}};
    return control_.connect(descriptor_, &address, sizeof address);
  }
  void reach() {
    open();
    ASSERT_EQ(lookUp(), 0);
    ASSERT_EQ(admit(), 0);
  }

  ServiceKernelControl control_{300ms};
  std::string root_;
  int descriptor_ = -1;
  ControlInfo info_{};
};

TEST_F(ServiceKernelControlTest, NobodyListensLookUpFails) {
  open();
  EXPECT_EQ(lookUp(), -1);
  EXPECT_EQ(errno, ENOENT);
  { const ScriptedService gone(root_, {accepts()}); }
  EXPECT_EQ(lookUp(), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(ServiceKernelControlTest, SomethingElseAtThePathIsNoControl) {
  std::filesystem::create_directories(root_ + "/run/sifterra");
  std::ofstream(ScriptedService::pathBelow(root_)) << "x";
  open();
  EXPECT_EQ(lookUp(), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(ServiceKernelControlTest, NamesLeadNowhereElse) {
  const ScriptedService service(root_, {accepts()});
  open();
  for (const std::string& name :
       {std::string(), std::string(".."), "../sifterra/" + std::string(kName), "/" + std::string(kName)}) {
    EXPECT_EQ(lookUp(name), -1) << name;
    EXPECT_EQ(errno, ENOENT) << name;
  }
}

TEST_F(ServiceKernelControlTest, ARootTooLongForASocketFails) {
  setFileSystemRoot("/" + std::string(80, 'x'));
  open();
  EXPECT_EQ(lookUp(), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(ServiceKernelControlTest, ConnectsSetsAndGets) {
  ScriptedService service(root_, {accepts(), accepts(), accepts("\x01\x02\x03\x04")});
  reach();
  EXPECT_EQ(info_.identifier, 1U);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 1, "\xF5\x01\0\0", 4), 0);
  char value[8] = "-------";
  std::uint32_t length = 6;
  EXPECT_EQ(control_.getsockopt(descriptor_, 2, 3, value, &length), 0);
  EXPECT_EQ(length, 4U);
  EXPECT_EQ(std::string(value, 7), "\x01\x02\x03\x04---");
  EXPECT_EQ(control_.close(descriptor_), 0);
  descriptor_ = -1;
  EXPECT_THAT(service.trace(), ElementsAre("1 peer",  //
                                           "1 < 57465131"
                                           "0100"
                                           "0000"
                                           "01000000"
                                           "00000000"
                                           "00000000",  //
                                           "1 > 57464131"
                                           "0100"
                                           "0000"
                                           "01000000"
                                           "00000000"
                                           "00000000",  //
                                           "1 < 57465131"
                                           "0200"
                                           "0000"
                                           "02000000"
                                           "01000000"
                                           "04000000"
                                           "f5010000",
                                           "1 > 57464131"
                                           "0200"
                                           "0000"
                                           "02000000"
                                           "00000000"
                                           "00000000",  //
                                           "1 < 57465131"
                                           "0300"
                                           "0000"
                                           "03000000"
                                           "03000000"
                                           "06000000",  //
                                           "1 > 57464131"
                                           "0300"
                                           "0000"
                                           "03000000"
                                           "00000000"
                                           "04000000"
                                           "01020304",
                                           "1 closed"));
}

TEST_F(ServiceKernelControlTest, TheStatusBecomesTheError) {
  const ScriptedService service(root_, {refuses(EBUSY), accepts(), refuses(EPERM), refuses(0xffffffff)});
  open();
  ASSERT_EQ(lookUp(), 0);
  EXPECT_EQ(admit(), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(admit(), 0);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 4, nullptr, 0), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 4, nullptr, 0), -1);
  EXPECT_EQ(errno, 4095);  // no error number is larger
}

TEST_F(ServiceKernelControlTest, ASilentServiceIsNotWaitedForLong) {
  const ScriptedService service(root_, {accepts(), staysSilent()});
  reach();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 5, nullptr, 0), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited, 290ms);
  EXPECT_LT(waited, 5s);
}

TEST_F(ServiceKernelControlTest, NeitherIsOneThatNeverAccepts) {
  std::filesystem::create_directories(root_ + "/run/sifterra");
  const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ScriptedService::pathBelow(root_).copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listener, 0), 0);
  open();
  EXPECT_EQ(lookUp(), 0);  // one waits to be accepted
  EXPECT_EQ(admit(), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  const int first = descriptor_;
  open();
  EXPECT_EQ(lookUp(), -1);  // no more do
  EXPECT_EQ(errno, ETIMEDOUT);
  ::close(first);
  ::close(listener);
}

TEST_F(ServiceKernelControlTest, AServiceThatHangsUpFailsTheCall) {
  const ScriptedService service(root_, {accepts(), hangsUp()});
  reach();
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 5, nullptr, 0), -1);
  EXPECT_EQ(errno, ECONNRESET);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 5, nullptr, 0), -1);  // no signal ends the process
  EXPECT_EQ(errno, EPIPE);
}

TEST_F(ServiceKernelControlTest, PacketsThatAreNoReplyFailTheCall) {
  const std::string good = replyTo(std::string("WFQ1\3\0\0\0\2\0\0\0", 12), 0, "1234");
  const std::string rows[] = {
      "x",
      std::string(300, 'x'),
      good + "5",
      good.substr(0, good.size() - 1),
      "WFQ1" + good.substr(4),
      replyTo(std::string("WFQ1\2\0\0\0\2\0\0\0", 12), 0),           // to another operation
      replyTo(std::string("WFQ1\3\0\0\0\2\0\0\0", 12), 0, "12345"),  // more than there is room for
      replyTo(std::string("WFQ1\3\0\0\0\2\0\0\0", 12), 5, "1234"),   // a value although it failed
  };
  for (const std::string& row : rows) {
    SCOPED_TRACE(row);
    const ScriptedService service(root_, {accepts(), sends({row})});
    ServiceKernelControl fresh{300ms};  // counts from 1
    descriptor_ = fresh.socket(32, 2, 2);
    info_ = {};
    std::string(kName).copy(info_.name, sizeof info_.name);
    ASSERT_EQ(fresh.ioctl(descriptor_, kControlInfoRequest, &info_), 0);
    const ControlAddress address{32, 32, 2, 1, 0, {}};
    ASSERT_EQ(fresh.connect(descriptor_, &address, sizeof address), 0);
    char value[4] = {'-', '-', '-', '-'};
    std::uint32_t length = 4;
    EXPECT_EQ(fresh.getsockopt(descriptor_, 2, 1, value, &length), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(std::string(value, 4), "----");
    EXPECT_EQ(length, 4U);
    ::close(descriptor_);
    descriptor_ = -1;
  }
}

TEST_F(ServiceKernelControlTest, RepliesToEarlierCallsArePassedOver) {
  const auto late = [](const std::string& request) {
    return std::optional(
        std::vector{replyTo(std::string("WFQ1\2\0\0\0\x63\0\0\0", 12), EPERM), replyTo(request, 0, "new!")});
  };
  const ScriptedService service(root_, {accepts(), late});
  reach();
  char value[4];
  std::uint32_t length = 4;
  EXPECT_EQ(control_.getsockopt(descriptor_, 2, 1, value, &length), 0);
  EXPECT_EQ(std::string(value, 4), "new!");
}

TEST_F(ServiceKernelControlTest, SomeOtherRepliesAndThenSilenceAreNoAnswer) {
  const auto flood = [](const std::string&) {
    return std::optional(std::vector<std::string>(20, replyTo(std::string("WFQ1\2\0\0\0\x63\0\0\0", 12), 0)));
  };
  const ScriptedService service(root_, {accepts(), flood});
  reach();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 5, nullptr, 0), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(ServiceKernelControlTest, SignalsDoNotEndAWait) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGALRM, &action, &before);  // without SA_RESTART
  const itimerval often{{0, 20000}, {0, 20000}};
  const itimerval never{};
  const auto slow = [](const std::string& request) {
    ::usleep(150000);
    return std::optional(std::vector{replyTo(request, 0)});
  };
  const ScriptedService service(root_, {accepts(), slow, staysSilent()});
  reach();
  ::setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 5, nullptr, 0), 0);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 5, nullptr, 0), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
}

TEST_F(ServiceKernelControlTest, OtherCallsThanTheControlsAreRefused) {
  EXPECT_EQ(control_.socket(2, 2, 2), -1);
  EXPECT_EQ(errno, EAFNOSUPPORT);
  EXPECT_EQ(control_.socket(32, 1, 2), -1);
  EXPECT_EQ(errno, EPROTONOSUPPORT);
  EXPECT_EQ(control_.socket(32, 2, 0), -1);
  EXPECT_EQ(errno, EPROTONOSUPPORT);

  const ScriptedService service(root_, {accepts()});
  open();
  EXPECT_EQ(control_.ioctl(descriptor_, 1, &info_), -1);
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_EQ(control_.ioctl(descriptor_, kControlInfoRequest, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(admit(), -1);  // not looked up: the identifier is 0
  EXPECT_EQ(errno, ENOENT);
  ASSERT_EQ(lookUp(), 0);
  ControlAddress address{32, 2, 2, 1, 0, {}};
  EXPECT_EQ(control_.connect(descriptor_, &address, sizeof address), -1);
  EXPECT_EQ(errno, EAFNOSUPPORT);
  EXPECT_EQ(control_.connect(descriptor_, &address, 16), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(control_.connect(descriptor_, nullptr, 32), -1);
  EXPECT_EQ(errno, EINVAL);
  ASSERT_EQ(admit(), 0);
  char value[300] = {};
  std::uint32_t length = 4;
  EXPECT_EQ(control_.setsockopt(descriptor_, 1, 1, value, 4), -1);
  EXPECT_EQ(errno, ENOPROTOOPT);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 1, nullptr, 4), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 1, value, 257), -1);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_EQ(control_.setsockopt(descriptor_, 2, 1, value, 256), 0);
  EXPECT_EQ(control_.getsockopt(descriptor_, 1, 1, value, &length), -1);
  EXPECT_EQ(errno, ENOPROTOOPT);
  EXPECT_EQ(control_.getsockopt(descriptor_, 2, 1, nullptr, &length), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(control_.getsockopt(descriptor_, 2, 1, value, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
}

// The ones that a failure leaves open must not pass to the programs that this one starts.
TEST_F(ServiceKernelControlTest, DescriptorsAreNotInherited) {
  open();
  EXPECT_EQ(::fcntl(descriptor_, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(lookUp(), -1);
  EXPECT_EQ(::fcntl(descriptor_, F_GETFD), FD_CLOEXEC);
}

// Where the family is not the control's, the system itself says so; only what is the same everywhere is
// shown.
TEST(SystemKernelControl, HandsTheCallsToTheSystem) {
  SystemKernelControl control;
  const int descriptor = control.socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(descriptor, 0);
  const int one = 1;
  int value = 0;
  std::uint32_t length = sizeof value;
  EXPECT_EQ(control.setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &one, sizeof one), 0);
  EXPECT_EQ(control.getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &value, &length), 0);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(control.ioctl(descriptor, kControlInfoRequest, &value), -1);
  sockaddr_un nowhere{};
  nowhere.sun_family = AF_UNIX;
  EXPECT_EQ(control.connect(descriptor, &nowhere, sizeof nowhere), -1);
  EXPECT_EQ(control.close(descriptor), 0);
  EXPECT_EQ(control.close(descriptor), -1);
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
}  // namespace sifterra::platform
