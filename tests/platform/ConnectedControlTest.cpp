// Tests of the option calls with no service but the other end of a pair of sockets, which does what no
// service would.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "kernelcontrol/ScriptedService.h"
#include "platform/KernelControl.h"

namespace sifterra::platform {
namespace {

using namespace std::chrono_literals;

class ConnectedControlTest : public testing::Test {
 protected:
  ConnectedControlTest() {
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_) != 0) std::abort();
  }
  ~ConnectedControlTest() override {
    for (const int end : ends_) ::close(end);
  }
  int debugPrint() { return control_.setsockopt(ends_[0], 2, 5, nullptr, 0); }

  ServiceKernelControl control_{300ms};
  int ends_[2] = {-1, -1};
};

// The limit is the whole call's, not that of each wait within it: none of these waits is a long one.
TEST_F(ConnectedControlTest, AnEndlessFloodOfOtherRepliesDoesNotProlongTheWait) {
  for (const auto pause : {0ms, 20ms}) {
    SCOPED_TRACE(pause.count());
    std::atomic<bool> done{false};
    std::thread flood([&] {
      const std::string other = replyTo(std::string("WFQ1\2\0\0\0\x63\0\0\0", 12), 0);
      const auto atMost = std::chrono::steady_clock::now() + 20s;
      while (!done && std::chrono::steady_clock::now() < atMost) {
        ::send(ends_[1], other.data(), other.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (pause != 0ms) std::this_thread::sleep_for(pause);
      }
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(debugPrint(), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, 290ms);
    EXPECT_LT(waited, 10s);
    done = true;
    flood.join();
  }
}

TEST_F(ConnectedControlTest, AnEndThatReadsNothingDoesNotHoldTheCaller) {
  while (::send(ends_[0], "x", 1, MSG_NOSIGNAL | MSG_DONTWAIT) == 1) continue;
  ASSERT_EQ(errno, EAGAIN);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(debugPrint(), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_F(ConnectedControlTest, AnEmptyPacketIsTakenForTheEnd) {
  ASSERT_EQ(::send(ends_[1], "", 0, MSG_NOSIGNAL), 0);
  EXPECT_EQ(debugPrint(), -1);
  EXPECT_EQ(errno, ECONNRESET);
}

// Descriptors in a packet are not taken: nothing would ever close them.
TEST_F(ConnectedControlTest, DescriptorsThatAreSentAlongAreNotTaken) {
  const std::string reply = replyTo(std::string("WFQ1\2\0\0\0\1\0\0\0", 12), 0);
  iovec bytes{const_cast<char*>(reply.data()), reply.size()};
  alignas(cmsghdr) char space[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  message.msg_control = space;
  message.msg_controllen = sizeof space;
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(header), &ends_[1], sizeof(int));
  ASSERT_EQ(::sendmsg(ends_[1], &message, MSG_NOSIGNAL), static_cast<ssize_t>(reply.size()));
  const int before = ::dup(ends_[0]);  // the lowest number that is free
  ::close(before);
  EXPECT_EQ(debugPrint(), 0);
  const int after = ::dup(ends_[0]);
  ::close(after);
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace sifterra::platform
