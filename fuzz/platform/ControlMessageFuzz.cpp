// Control messages: what decodes encodes to the very same bytes, so that no two packets mean the same; a
// packet is never both a request and a reply; what a message of any fields encodes to decodes to it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sifterra/platform/ControlMessage.h"

namespace {

using namespace sifterra::platform;

void check(bool holds) {
  if (!holds) std::abort();
}

template <class Message>
void checkSpelling(const Message& message) {
  const std::string packet = message.encoded();
  check(packet.size() <= kControlMostBytes);
  if (!packet.empty()) check(Message::decoded(packet) == message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string packet(reinterpret_cast<const char*>(data), size);
  const auto request = ControlRequest::decoded(packet);
  const auto reply = ControlReply::decoded(packet);
  check(!request || !reply);
  if (request) check(request->encoded() == packet);
  if (reply) check(reply->encoded() == packet);
  check((size >= kControlHeaderBytes && size <= kControlMostBytes) || (!request && !reply));

  if (size < 6) return 0;
  const auto operation = static_cast<ControlOperation>(data[0] % 5);
  const std::string payload = packet.substr(6);
  checkSpelling(ControlRequest{operation, data[1], data[2], data[3] * 2U, payload});
  checkSpelling(ControlReply{operation, data[1], data[2] % 2U, payload});
  return 0;
}
