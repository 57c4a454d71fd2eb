// The system's source against a name server of our own on the loopback.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "platform/NameLookup.h"

namespace sifterra::platform {
namespace {

using std::chrono::milliseconds;
using Outcome = NameSource::Outcome;

// A UDP name server: what `reply` makes of a question is sent back, nothing when that is empty.
class Server {
 public:
  using Reply = std::function<std::string(const std::string& question)>;

  explicit Server(Reply reply)
      : reply_(std::move(reply)), socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in where = loopback(0);
    socklen_t length = sizeof where;
    EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&where), length), 0);
    EXPECT_EQ(getsockname(socket_, reinterpret_cast<sockaddr*>(&where), &length), 0);
    port_ = ntohs(where.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~Server() {
    stopping_ = true;
    const sockaddr_in where = loopback(port_);
    sendto(socket_, "", 0, 0, reinterpret_cast<const sockaddr*>(&where), sizeof where);  // wakes the thread
    thread_.join();
    close(socket_);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  [[nodiscard]] int asked() const { return asked_; }

 private:
  static sockaddr_in loopback(int port) {
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<std::uint16_t>(port));
    where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return where;
  }
  void serve() {
    std::array<char, 1024> bytes{};
    sockaddr_in from{};
    while (!stopping_) {
      socklen_t length = sizeof from;
      const ssize_t got =
          recvfrom(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
      if (got < 12) continue;
      ++asked_;
      const std::string answer = reply_(std::string(bytes.data(), static_cast<std::size_t>(got)));
      if (!answer.empty())
        sendto(socket_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&from), length);
    }
  }

  Reply reply_;
  int socket_;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::atomic<int> asked_{0};
  std::thread thread_;
};

// The question as an answer with this code and, when there is a name, one pointer record.
std::string answerTo(const std::string& question, int code, const std::string& encodedName) {
  // Behind the header: name, type and class of the question, without what follows it.
  const std::size_t end = question.find('\0', 12) + 5;
  std::string answer = question.substr(0, end);
  answer[2] = static_cast<char>(0x81);
  answer[3] = static_cast<char>(0x80 | code);
  for (std::size_t i = 6; i < 12; ++i) answer[i] = 0;
  if (encodedName.empty()) return answer;
  answer[7] = 1;
  answer += std::string("\xC0\x0C\x00\x0C\x00\x01\x00\x00\x00\x3C", 10);
  answer += static_cast<char>(encodedName.size() >> 8);
  answer += static_cast<char>(encodedName.size() & 0xFF);
  return answer + encodedName;
}

NameSource::Answer ask(const Server& server, milliseconds limit = milliseconds(2000)) {
  SystemNameSource source(server.address());
  in_addr address{};
  inet_pton(AF_INET, "192.0.2.7", &address);
  return source.nameOf(address.s_addr, limit);
}

TEST(SystemNames, AreTheServersPointerRecords) {
  std::string asked;
  NameSource::Answer answer;
  {
    const Server server([&asked](const std::string& question) {
      asked = question.substr(12, question.find('\0', 12) - 12);
      return answerTo(question, 0, std::string("\6host-1\7example\3net\0", 20));
    });
    answer = ask(server);
  }  // its thread has ended
  EXPECT_EQ(answer.outcome, Outcome::Found);
  EXPECT_EQ(answer.name, "host-1.example.net");
  EXPECT_EQ(asked,
            "\1"
            "7\1"
            "2\1"
            "0\3"
            "192\7in-addr\4arpa");
}

TEST(SystemNames, MayNotExist) {
  const Server server([](const std::string& question) { return answerTo(question, 3, ""); });
  EXPECT_EQ(ask(server).outcome, Outcome::NoName);
  const Server empty([](const std::string& question) { return answerTo(question, 0, ""); });
  EXPECT_EQ(ask(empty).outcome, Outcome::NoName);
}

TEST(SystemNames, OfGarbageDoNotExist) {
  const Server server(
      [](const std::string& question) { return question.substr(0, 2) + std::string(40, '\xFF'); });
  EXPECT_NE(ask(server, milliseconds(300)).outcome, Outcome::Found);
}

TEST(SystemNames, ThatAreNoHostNamesDoNotCount) {
  const Server server([](const std::string& question) {
    return answerTo(question, 0, std::string("\11a b\nc\0d!!\3net\0", 15));
  });
  EXPECT_NE(ask(server, milliseconds(300)).outcome, Outcome::Found);
}

TEST(SystemNames, OfASilentServerAreGivenUpInTime) {
  const Server server([](const std::string&) { return std::string(); });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ask(server, milliseconds(300)).outcome, Outcome::Unanswered);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, milliseconds(100));
  EXPECT_LT(took, milliseconds(1500));  // 300 and what a busy machine adds
  EXPECT_GE(server.asked(), 1);
}

TEST(SystemNames, OfNoServerAreUnanswered) {
  int port = 0;
  {
    const Server gone([](const std::string&) { return std::string(); });
    port = std::stoi(gone.address().substr(gone.address().find(':') + 1));
  }
  SystemNameSource source("127.0.0.1:" + std::to_string(port));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(source.nameOf(htonl(0xC0000207), milliseconds(500)).outcome, Outcome::Unanswered);
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(2000));
}

TEST(SystemNames, StandInTheHostsFileToo) {
  const Server server([](const std::string& question) { return answerTo(question, 3, ""); });
  SystemNameSource source(server.address());
  const NameSource::Answer answer = source.nameOf(htonl(INADDR_LOOPBACK), milliseconds(1000));
  if (server.asked() != 0) GTEST_SKIP() << "no line for 127.0.0.1 in /etc/hosts";
  EXPECT_EQ(answer.outcome, Outcome::Found);
  EXPECT_FALSE(answer.name.empty());
}

}  // namespace
}  // namespace sifterra::platform
