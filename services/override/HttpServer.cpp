// A form is read as it comes and forgotten once it is too large: what one request holds in memory is bounded
// by the connection's own buffer and kMostFormBytes. Connections are bounded for each account, too: whoever
// sends his requests a byte at a time keeps nobody else from asking.
#include "HttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <exception>

#include "Connections.h"
#include "PeerOwner.h"

namespace sifterra::override_service {
namespace {

constexpr unsigned kMostConnections = 64;
constexpr unsigned kMostConnectionsOfUser = 16;
constexpr unsigned kIdleSeconds = 30;
constexpr std::size_t kConnectionBytes = 32 * 1024;
constexpr std::size_t kMostFields = 16;
// What is too large is read to its end, so that its sender hears so, unless it has none.
constexpr std::size_t kMostReadBytes = 1 << 20;

struct Incoming {
  Request request;
  std::size_t formBytes = 0;
  MHD_PostProcessor* processor = nullptr;
};

MHD_Result addHeader(void* data, MHD_ValueKind, const char* key, const char* value) {
  std::string name = key == nullptr ? "" : key;
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  static_cast<Request*>(data)->headers[name] = value == nullptr ? "" : value;
  return MHD_YES;
}

MHD_Result addField(void* data, MHD_ValueKind, const char* key, const char*, const char*, const char*,
                    const char* bytes, std::uint64_t offset, std::size_t size) {
  auto& incoming = *static_cast<Incoming*>(data);
  auto& fields = incoming.request.fields;
  const std::string name = key == nullptr ? "" : key;
  if (fields.find(name) == fields.end() && fields.size() >= kMostFields) return MHD_NO;
  std::string& value = fields[name];
  if (offset != value.size()) return MHD_NO;  // the same field twice
  value.append(bytes, size);
  return MHD_YES;
}

int descriptorOf(MHD_Connection* connection) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
  return info == nullptr ? -1 : info->connect_fd;
}

std::optional<std::uint32_t> ownerOf(MHD_Connection* connection) {
  const int descriptor = descriptorOf(connection);
  sockaddr_storage client{};
  sockaddr_storage server{};
  socklen_t clientLength = sizeof client;
  socklen_t serverLength = sizeof server;
  if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&client), &clientLength) != 0 ||
      getsockname(descriptor, reinterpret_cast<sockaddr*>(&server), &serverLength) != 0) {
    return std::nullopt;
  }
  return ownerOfConnection(client, server);
}

MHD_Result send(MHD_Connection* connection, const Reply& reply) {
  MHD_Response* response = MHD_create_response_from_buffer(
      reply.body.size(), const_cast<char*>(reply.body.data()), MHD_RESPMEM_MUST_COPY);
  if (response == nullptr) return MHD_NO;
  for (const auto& [name, value] : reply.headers) {
    // One that cannot be sent would leave a page without its protection.
    if (MHD_add_response_header(response, name.c_str(), value.c_str()) == MHD_YES) continue;
    MHD_destroy_response(response);
    return MHD_NO;
  }
  const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
  MHD_destroy_response(response);
  return queued;
}

Incoming* begin(MHD_Connection* connection, const char* url, const char* method) {
  auto incoming = std::make_unique<Incoming>();
  incoming->request.method = method;
  incoming->request.path = url;
  MHD_get_connection_values(connection, MHD_HEADER_KIND, addHeader, &incoming->request);
  // Asked now: the client may be gone when its form is read.
  incoming->request.uid = ownerOf(connection);
  if (incoming->request.method == "POST") {
    incoming->processor = MHD_create_post_processor(connection, 4096, addField, incoming.get());
    if (incoming->processor == nullptr) incoming->request.form = Request::Form::Malformed;
  }
  return incoming.release();
}

// False: the rest is not worth waiting for.
bool take(Incoming& incoming, const char* bytes, std::size_t size) {
  incoming.formBytes += size;
  if (incoming.formBytes > kMostReadBytes) return false;
  if (incoming.formBytes > kMostFormBytes) incoming.request.form = Request::Form::TooLarge;
  if (incoming.request.form != Request::Form::Good) return true;
  if (incoming.processor == nullptr || MHD_post_process(incoming.processor, bytes, size) != MHD_YES) {
    incoming.request.form = Request::Form::Malformed;
  }
  return true;
}

MHD_Result handle(void* data, MHD_Connection* connection, const char* url, const char* method, const char*,
                  const char* bytes, std::size_t* size, void** state) {
  try {
    if (*state == nullptr) {
      *state = begin(connection, url, method);
      return MHD_YES;
    }
    auto& incoming = *static_cast<Incoming*>(*state);
    if (*size != 0) {
      const bool goesOn = take(incoming, bytes, *size);
      *size = 0;
      return goesOn ? MHD_YES : MHD_NO;
    }
    if (incoming.processor != nullptr) {
      // The last field is handed over by the end alone.
      if (MHD_destroy_post_processor(incoming.processor) != MHD_YES &&
          incoming.request.form == Request::Form::Good) {
        incoming.request.form = Request::Form::Malformed;
      }
      incoming.processor = nullptr;
    }
    return send(connection, static_cast<OverrideService*>(data)->answer(incoming.request));
  } catch (const std::exception&) {
    return MHD_NO;  // ends this connection alone
  }
}

void completed(void*, MHD_Connection*, void** state, MHD_RequestTerminationCode) {
  auto* incoming = static_cast<Incoming*>(*state);
  if (incoming == nullptr) return;
  if (incoming->processor != nullptr) MHD_destroy_post_processor(incoming->processor);
  for (auto& [name, value] : incoming->request.fields) explicit_bzero(value.data(), value.size());
  delete incoming;
  *state = nullptr;
}

// Called as a connection begins and ends; what is put into `state` stays with it meanwhile.
void changed(void* data, MHD_Connection* connection, void** state, MHD_ConnectionNotificationCode what) {
  auto& connections = *static_cast<Connections*>(data);
  auto* place = static_cast<Connections::Place*>(*state);
  if (what == MHD_CONNECTION_NOTIFY_CLOSED) {
    delete place;
    *state = nullptr;
    return;
  }
  try {
    if (auto taken = connections.take(ownerOf(connection))) {
      *state = new Connections::Place(std::move(*taken));
      return;
    }
  } catch (const std::exception&) {  // ended like one too many
  }
  shutdown(descriptorOf(connection), SHUT_RDWR);
}

}  // namespace

HttpServer::HttpServer(OverrideService& service, const std::vector<int>& listening)
    : _connections(std::make_unique<Connections>(kMostConnectionsOfUser)) {
  for (const int descriptor : listening) {
    MHD_Daemon* daemon =
        MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION, 0, nullptr, nullptr,
                         handle, &service, MHD_OPTION_LISTEN_SOCKET, descriptor, MHD_OPTION_NOTIFY_COMPLETED,
                         completed, nullptr, MHD_OPTION_NOTIFY_CONNECTION, changed, _connections.get(),
                         MHD_OPTION_CONNECTION_LIMIT, kMostConnections, MHD_OPTION_CONNECTION_TIMEOUT,
                         kIdleSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionBytes, MHD_OPTION_END);
    if (daemon == nullptr) {
      _good = false;
    } else {
      _daemons.push_back(daemon);
    }
  }
}

HttpServer::~HttpServer() {
  for (MHD_Daemon* daemon : _daemons) MHD_stop_daemon(daemon);
}

int listenAt(const char* address, int port, std::string& problem) {
  const bool isIPv6 = std::strchr(address, ':') != nullptr;
  const int descriptor = socket(isIPv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int on = 1;
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  int bound = -1;
  if (isIPv6) {
    sockaddr_in6 end{};
    end.sin6_family = AF_INET6;
    end.sin6_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET6, address, &end.sin6_addr);
    setsockopt(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    bound = bind(descriptor, reinterpret_cast<const sockaddr*>(&end), sizeof end);
  } else {
    sockaddr_in end{};
    end.sin_family = AF_INET;
    end.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, address, &end.sin_addr);
    bound = bind(descriptor, reinterpret_cast<const sockaddr*>(&end), sizeof end);
  }
  if (bound == 0 && listen(descriptor, 64) == 0) return descriptor;
  problem = std::string("cannot listen at ") + address + ", port " + std::to_string(port) + ": " +
            std::strerror(errno);
  if (descriptor >= 0) close(descriptor);
  return -1;
}

int portOf(int listening) {
  sockaddr_storage end{};
  socklen_t length = sizeof end;
  if (getsockname(listening, reinterpret_cast<sockaddr*>(&end), &length) != 0) return 0;
  return ntohs(end.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(end).sin6_port
                                         : reinterpret_cast<sockaddr_in&>(end).sin_port);
}

}  // namespace sifterra::override_service
