// SystemNameSource: getnameinfo as c-ares has it, because the C library's cannot be told when to stop.
//
// The C library's asks whatever modules the machine has configured, each with waiting times of its own (the
// DNS module's are set in whole seconds, a connection that is needed for a long answer has none, systemd's
// waits two minutes), and a thread that could be abandoned is not ours to start. c-ares hands out its sockets
// and waits for nothing by itself: the loop below stops when the time is up.
//
// Every option that c-ares would take from the environment is set here.
#include <ares.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/NameLookup.h"

namespace sifterra::platform {
namespace {

using std::chrono::milliseconds;
using Answer = NameSource::Answer;
using Outcome = NameSource::Outcome;

constexpr std::size_t kLongestName = 1024;  // NI_MAXHOST without the final zero
constexpr int kPort = 80;                   // which service is meant does not matter, the name is the same
constexpr int kTries = 2;
constexpr int kInternetClass = 1;
constexpr int kPointerType = 12;

struct CloseChannel {
  using pointer = ares_channel;
  void operator()(ares_channel channel) const noexcept { ares_destroy(channel); }
};
using Channel = std::unique_ptr<ares_channel, CloseChannel>;

bool libraryIsReady() {
  static const bool ready = ares_library_init(ARES_LIB_INIT_ALL) == ARES_SUCCESS;
  return ready;
}

Channel openChannel(milliseconds limit, const std::string& servers) {
  ares_options options{};
  char lookups[] = "f";  // the hosts file; the servers are asked by a query of our own
  options.timeout = std::max(1, static_cast<int>(limit.count()) / (2 * kTries));
  options.tries = kTries;
  options.ndots = 1;
  options.lookups = lookups;
  const int given = ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_NDOTS | ARES_OPT_DOMAINS |
                    ARES_OPT_LOOKUPS | ARES_OPT_NOROTATE;
  ares_channel channel = nullptr;
  if (ares_init_options(&channel, &options, given) != ARES_SUCCESS) return nullptr;
  Channel opened(channel);
  if (!servers.empty() && ares_set_servers_ports_csv(channel, servers.c_str()) != ARES_SUCCESS)
    return nullptr;
  return opened;
}

Outcome outcomeOf(int status) {
  switch (status) {
    case ARES_SUCCESS:
      return Outcome::Found;
    case ARES_ETIMEOUT:
    case ARES_ECONNREFUSED:
    case ARES_ECANCELLED:
    case ARES_EDESTRUCTION:
      return Outcome::Unanswered;
    default:
      return Outcome::NoName;
  }
}

void take(Answer& answer, const char* name) {
  const std::string_view text = name ? name : "";
  if (text.empty() || text.size() > kLongestName) {
    answer.outcome = Outcome::NoName;
  } else {
    answer = {Outcome::Found, std::string(text)};
  }
}

void onHostsLine(void* context, int status, int /*timeouts*/, char* name, char* /*service*/) {
  auto& answer = *static_cast<Answer*>(context);
  answer.outcome = outcomeOf(status);
  if (answer.outcome == Outcome::Found) take(answer, name);
}

struct Question {
  in_addr address{};
  Answer answer{Outcome::Unanswered, {}};
};

void onReply(void* context, int status, int /*timeouts*/, unsigned char* bytes, int length) {
  auto& question = *static_cast<Question*>(context);
  hostent* host = nullptr;
  if (status == ARES_SUCCESS) {
    status = ares_parse_ptr_reply(bytes, length, &question.address, sizeof question.address, AF_INET, &host);
  }
  question.answer.outcome = outcomeOf(status);
  if (question.answer.outcome == Outcome::Found) take(question.answer, host->h_name);
  if (host != nullptr) ares_free_hostent(host);
}

// The name under which servers keep the name of an address: its bytes backwards.
std::string pointerName(const in_addr& address) {
  const std::uint32_t number = ntohl(address.s_addr);
  std::string name;
  for (unsigned shift = 0; shift < 32; shift += 8) name += std::to_string(number >> shift & 0xFFU) + ".";
  return name + "in-addr.arpa";
}

// Waits for the channel's sockets once, `most` at the longest; false when it waits for none any more.
bool serve(ares_channel channel, milliseconds most) {
  std::array<ares_socket_t, ARES_GETSOCK_MAXNUM> sockets{};
  const auto wanted = static_cast<unsigned>(ares_getsock(channel, sockets.data(), ARES_GETSOCK_MAXNUM));
  std::array<pollfd, ARES_GETSOCK_MAXNUM> waiting{};
  nfds_t count = 0;
  for (unsigned i = 0; i < ARES_GETSOCK_MAXNUM; ++i) {
    const bool reads = (wanted >> i & 1U) != 0;
    const bool writes = (wanted >> (i + ARES_GETSOCK_MAXNUM) & 1U) != 0;
    if (!reads && !writes) continue;
    waiting[count].fd = sockets[i];
    waiting[count++].events = static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
  }
  if (count == 0) return false;
  timeval longest{most.count() / 1000, (most.count() % 1000) * 1000};
  timeval next{};
  const timeval* wait = ares_timeout(channel, &longest, &next);
  const int ready =
      poll(waiting.data(), count, static_cast<int>(wait->tv_sec * 1000 + wait->tv_usec / 1000 + 1));
  if (ready <= 0) ares_process_fd(channel, ARES_SOCKET_BAD, ARES_SOCKET_BAD);  // what is overdue
  for (nfds_t i = 0; ready > 0 && i < count; ++i) {
    const short events = waiting[i].revents;
    if (events == 0) continue;
    const bool failed = (events & (POLLERR | POLLHUP)) != 0;
    ares_process_fd(channel, failed || (events & POLLIN) != 0 ? waiting[i].fd : ARES_SOCKET_BAD,
                    (events & POLLOUT) != 0 ? waiting[i].fd : ARES_SOCKET_BAD);
  }
  return true;
}

}  // namespace

Answer SystemNameSource::nameOf(std::uint32_t address, milliseconds limit) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point until = Clock::now() + limit;
  Question question;
  question.address.s_addr = address;
  if (!libraryIsReady()) return question.answer;
  const Channel channel = openChannel(limit, servers_);
  if (!channel) return question.answer;

  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(kPort);
  where.sin_addr = question.address;
  Answer line;  // read from the file before the call returns
  ares_getnameinfo(channel.get(), reinterpret_cast<const sockaddr*>(&where), sizeof where,
                   ARES_NI_LOOKUPHOST | ARES_NI_NAMEREQD, &onHostsLine, &line);
  if (line.outcome == Outcome::Found) return line;

  // Not by getnameinfo, which tells a name that does not exist and a server that does not answer by one code.
  ares_query(channel.get(), pointerName(question.address).c_str(), kInternetClass, kPointerType, &onReply,
             &question);
  for (;;) {
    const auto left = std::chrono::duration_cast<milliseconds>(until - Clock::now());
    if (left.count() <= 0) break;
    if (!serve(channel.get(), left)) return question.answer;
  }
  ares_cancel(channel.get());
  return question.answer;
}

}  // namespace sifterra::platform
