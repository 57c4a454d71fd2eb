// The service over a real socket, asked by the library's own functions and by hand-made packets.
#include "ControlService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "sifterra/sifterra.h"

namespace sifterra::netfilterd {
namespace {

using platform::ControlOperation;
using platform::ControlReply;
using platform::ControlRequest;

const Peer kRoot{1, 0, {0}};
const Peer kMember{2, 1001, {1001, 77}};
const Peer kChild{3, 1002, {1002}};
const std::string kUid501("\xf5\x01\0\0", 4);

class ControlServiceTest : public testing::Test {
 protected:
  ControlServiceTest() {
    char pattern[] = "/tmp/netfilterd.XXXXXX";
    _directory = mkdtemp(pattern);
    std::filesystem::create_directories(_directory / "run/sifterra");
    const std::string path = _directory / "run/sifterra/com.vendrel.nke.webcontentfilter";
    _address.sun_family = AF_UNIX;
    std::memcpy(_address.sun_path, path.c_str(), path.size() + 1);
    _listening = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    EXPECT_EQ(bind(_listening, reinterpret_cast<const sockaddr*>(&_address), sizeof _address), 0);
    EXPECT_EQ(listen(_listening, 64), 0);
    ControlService::Actions actions;
    actions.change = [this](const FilterState& state) {
      if (_refusal == 0) _changes.push_back(state);
      return _refusal;
    };
    actions.print = [this] { ++_prints; };
    actions.log = [this](const std::string& text) { _log.push_back(text); };
    _service = std::make_unique<ControlService>(_listening, FilterState{}, 77, std::move(actions));
  }
  ~ControlServiceTest() override {
    stop();
    close(_listening);
    std::filesystem::remove_all(_directory);
  }

  // Serves in a thread until stop().
  void serve() {
    _thread = std::thread([this] {
      while (!_ending) {
        std::vector<pollfd> waiting;
        for (const int descriptor : _service->descriptors()) waiting.push_back({descriptor, POLLIN, 0});
        if (poll(waiting.data(), waiting.size(), 20) <= 0) continue;
        for (const pollfd& one : waiting) {
          if (one.revents != 0) _service->ready(one.fd);
        }
      }
    });
  }
  void stop() {
    _ending = true;
    if (_thread.joinable()) _thread.join();
  }

  int connected() const {
    const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(descriptor, reinterpret_cast<const sockaddr*>(&_address), sizeof _address), 0);
    timeval limit{10, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return descriptor;
  }

  std::uint32_t statusOf(ControlOperation operation, std::uint32_t option, const std::string& payload,
                         const Peer& peer) {
    return _service->answer({operation, 1, option, 256, payload}, peer).status;
  }
  std::uint32_t set(std::uint32_t option, const std::string& payload, const Peer& peer) {
    return statusOf(ControlOperation::SetOption, option, payload, peer);
  }

  std::filesystem::path _directory;
  sockaddr_un _address{};
  int _listening = -1;
  int _refusal = 0;
  int _prints = 0;
  std::vector<FilterState> _changes;
  std::vector<std::string> _log;
  std::unique_ptr<ControlService> _service;
  std::atomic<bool> _ending{false};
  std::thread _thread;
};

TEST_F(ControlServiceTest, RootAndMembersOfTheGroupSetAndOthersDoNot) {
  EXPECT_EQ(set(1, kUid501, kRoot), 0u);
  EXPECT_EQ(_service->state().managedUser, 501u);
  EXPECT_EQ(set(1, std::string(4, '\0'), kMember), 0u);
  EXPECT_EQ(_service->state().managedUser, std::nullopt);
  EXPECT_EQ(set(1, kUid501, kChild), static_cast<std::uint32_t>(EPERM));
  EXPECT_EQ(_service->state().managedUser, std::nullopt);
  EXPECT_THAT(_log, testing::ElementsAre("user 1002 (process 3) may not set option 1"));
}

TEST_F(ControlServiceTest, AManagedUsersWishForHttpsFilteringIsRefusedWithoutALine) {
  EXPECT_EQ(set(4, "", kChild), static_cast<std::uint32_t>(EPERM));
  EXPECT_FALSE(_service->state().httpsFiltering);
  EXPECT_TRUE(_log.empty());
  EXPECT_EQ(set(4, "", kRoot), 0u);
  EXPECT_TRUE(_service->state().httpsFiltering);
}

TEST_F(ControlServiceTest, OptionFivePrints) {
  EXPECT_EQ(set(5, "", kRoot), 0u);
  EXPECT_EQ(set(5, "x", kRoot), static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(set(5, "", kChild), static_cast<std::uint32_t>(EPERM));
  EXPECT_EQ(_prints, 1);
  EXPECT_TRUE(_changes.empty());
}

TEST_F(ControlServiceTest, UnknownOptionsAndSenselessValuesAreRefused) {
  for (const std::uint32_t option : {0u, 6u, 4294967295u}) {
    EXPECT_EQ(set(option, "", kRoot), static_cast<std::uint32_t>(ENOPROTOOPT));
    EXPECT_EQ(statusOf(ControlOperation::GetOption, option, "", kRoot),
              static_cast<std::uint32_t>(ENOPROTOOPT));
  }
  for (const std::uint32_t option : {4u, 5u}) {
    EXPECT_EQ(statusOf(ControlOperation::GetOption, option, "", kRoot),
              static_cast<std::uint32_t>(ENOPROTOOPT));
  }
  EXPECT_EQ(set(1, "12345", kRoot), static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(set(2, "", kRoot), static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(set(3, "", kRoot), static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(set(4, "x", kRoot), static_cast<std::uint32_t>(EINVAL));
  EXPECT_EQ(statusOf(ControlOperation::Connect, 1, "", kRoot), static_cast<std::uint32_t>(ENOENT));
}

TEST_F(ControlServiceTest, AChangeThatCannotBeMadeLeavesTheStateAsItWas) {
  _refusal = EIO;
  EXPECT_EQ(set(1, kUid501, kRoot), static_cast<std::uint32_t>(EIO));
  EXPECT_EQ(_service->state(), FilterState{});
}

TEST_F(ControlServiceTest, SettingWhatIsSetChangesNothing) {
  EXPECT_EQ(set(1, kUid501, kRoot), 0u);
  EXPECT_EQ(set(1, kUid501, kRoot), 0u);
  EXPECT_EQ(_changes.size(), 1u);
}

TEST_F(ControlServiceTest, AGetterTakesNoMoreThanItAskedFor) {
  const ControlReply reply = _service->answer({ControlOperation::GetOption, 9, 2, 5, ""}, kChild);
  EXPECT_EQ(reply.sequence, 9u);
  EXPECT_EQ(reply.payload, std::string("\x10\x02\0\0\0", 5));
}

TEST_F(ControlServiceTest, TheLibrarysFunctionsSetAndReadEveryOption) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may set options";
  serve();
  WFSetFileSystemRoot(_directory.c_str());
  std::uint32_t uid = 0;
  EXPECT_EQ(ThornwickSetManagedUser(501), 0);
  EXPECT_EQ(ThornwickGetManagedUser(&uid), 0);
  EXPECT_EQ(uid, 501u);
  EXPECT_EQ(ThornwickSetProxyToLocalPort(8080), 0);
  EXPECT_EQ(ThornwickTurnOnHTTPSFiltering(), 0);
  EXPECT_EQ(ThornwickDebugPrint(), 0);
  WFSetFileSystemRoot("");
  stop();
  EXPECT_EQ(_service->state().managedUser, 501u);
  EXPECT_TRUE(_service->state().httpsFiltering);
  EXPECT_EQ(_service->state().ipv4Proxy, (ProxyAddress{{127, 0, 0, 1}, 8080}));
  EXPECT_EQ(_service->state().ipv6Proxy, (ProxyAddress{{}, 8080}));
  EXPECT_EQ(_prints, 1);
}

TEST_F(ControlServiceTest, APacketThatIsNoMessageEndsItsConnectionAlone) {
  serve();
  const int good = connected();
  const int bad = connected();
  ASSERT_EQ(send(bad, "WFQ1", 4, MSG_NOSIGNAL), 4);
  char buffer[64];
  EXPECT_EQ(recv(bad, buffer, sizeof buffer, 0), 0);
  const std::string request = ControlRequest{ControlOperation::Connect, 3, 0, 0, ""}.encoded();
  ASSERT_EQ(send(good, request.data(), request.size(), MSG_NOSIGNAL), static_cast<ssize_t>(request.size()));
  const ssize_t size = recv(good, buffer, sizeof buffer, 0);
  ASSERT_GT(size, 0);
  EXPECT_EQ(ControlReply::decoded({buffer, static_cast<std::size_t>(size)}),
            (ControlReply{ControlOperation::Connect, 3, 0, ""}));
  close(good);
  close(bad);
}

TEST_F(ControlServiceTest, OfTheRefusedWhoSayNothingOnlySomeAreKept) {
  std::vector<int> open;
  const std::size_t most = geteuid() == 0 ? ControlService::kMostConnections : ControlService::kMostOfUser;
  for (std::size_t i = 0; i < most + ControlService::kMostRefused + 5; ++i) {
    open.push_back(connected());
    _service->ready(_listening);
  }
  // And the socket that listens.
  EXPECT_EQ(_service->descriptors().size(), 1 + most + ControlService::kMostRefused);
  char byte = 0;
  EXPECT_EQ(recv(open[most], &byte, 1, MSG_DONTWAIT), 0);  // the oldest of them was closed
  EXPECT_EQ(recv(open.back(), &byte, 1, MSG_DONTWAIT), -1);
  for (const int descriptor : open) close(descriptor);
}

TEST_F(ControlServiceTest, OneUserAloneCannotUseTheConnectionsUp) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may take another account";
  std::vector<int> open;
  ASSERT_EQ(chmod(_directory.c_str(), 0755), 0);
  ASSERT_EQ(chmod(_address.sun_path, 0666), 0);
  ASSERT_EQ(seteuid(65534), 0);
  const auto connectOne = [&] {
    open.push_back(connected());
    _service->ready(_listening);
  };
  for (std::size_t i = 0; i < ControlService::kMostOfUser + 1; ++i) connectOne();
  ASSERT_EQ(seteuid(0), 0);
  connectOne();
  const std::string request = ControlRequest{ControlOperation::Connect, 1, 0, 0, ""}.encoded();
  const auto statusAt = [&](std::size_t at) {
    EXPECT_GT(send(open[at], request.data(), request.size(), MSG_NOSIGNAL), 0);
    for (const int descriptor : _service->descriptors()) {
      if (descriptor != _listening) _service->ready(descriptor);
    }
    char buffer[64];
    const ssize_t size = recv(open[at], buffer, sizeof buffer, 0);
    const auto reply =
        ControlReply::decoded({buffer, size < 0 ? std::size_t{0} : static_cast<std::size_t>(size)});
    return reply ? static_cast<int>(reply->status) : -1;
  };
  EXPECT_EQ(statusAt(ControlService::kMostOfUser - 1), 0);
  EXPECT_EQ(statusAt(ControlService::kMostOfUser), EBUSY);
  EXPECT_EQ(statusAt(ControlService::kMostOfUser + 1), 0);  // root's
  for (const int descriptor : open) close(descriptor);
}

TEST_F(ControlServiceTest, ConnectionsPastTheMostAreToldThatItIsBusy) {
  serve();
  std::vector<int> open;
  for (std::size_t i = 0;
       i < (geteuid() == 0 ? ControlService::kMostConnections : ControlService::kMostOfUser); ++i)
    open.push_back(connected());
  const std::string request = ControlRequest{ControlOperation::Connect, 1, 0, 0, ""}.encoded();
  const int oneMore = connected();
  ASSERT_GT(send(oneMore, request.data(), request.size(), MSG_NOSIGNAL), 0);
  char buffer[64];
  const ssize_t size = recv(oneMore, buffer, sizeof buffer, 0);
  ASSERT_GT(size, 0);
  EXPECT_EQ(ControlReply::decoded({buffer, static_cast<std::size_t>(size)}),
            (ControlReply{ControlOperation::Connect, 1, EBUSY, ""}));
  EXPECT_EQ(recv(oneMore, buffer, sizeof buffer, 0), 0);
  close(oneMore);
  for (const int descriptor : open) close(descriptor);
}

}  // namespace
}  // namespace sifterra::netfilterd
