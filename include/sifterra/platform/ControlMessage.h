// ControlMessage: what a program and the filter service say to each other over the control socket.
//
//   const std::optional<ControlRequest> request = ControlRequest::decoded(packet);
//   if (!request) return close(connection);
//   ControlReply reply{request->operation, request->sequence, 0, {}};
//   if (request->operation == ControlOperation::GetOption) reply.payload = valueOf(request->option);
//   send(connection, reply.encoded());
//
// One packet of a SOCK_SEQPACKET socket holds one message: a header of 20 bytes, numbers little-endian, then
// the payload. docs/kernel-control.md tells the rest. What is decoded is untrusted: a packet is a message
// only when it is one to the last byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sifterra/platform/Export.h"

namespace sifterra::platform {

enum class ControlOperation : std::uint16_t { Connect = 1, SetOption = 2, GetOption = 3 };

inline constexpr std::size_t kControlHeaderBytes = 20;
inline constexpr std::size_t kControlMostPayload = 256;  // an address record tells its length in one byte
inline constexpr std::size_t kControlMostBytes = kControlHeaderBytes + kControlMostPayload;

struct WF_API ControlRequest {
  ControlOperation operation = ControlOperation::Connect;
  std::uint32_t sequence = 0;  // counted by the program; its reply carries the same
  std::uint32_t option = 0;    // the unit of a Connect
  std::uint32_t room = 0;      // GetOption: the most bytes that the program takes
  std::string payload;         // SetOption: the value

  // Empty when the message cannot be spelt: too much payload or room, a payload without SetOption.
  [[nodiscard]] std::string encoded() const;
  [[nodiscard]] static std::optional<ControlRequest> decoded(std::string_view packet);
  friend bool operator==(const ControlRequest&, const ControlRequest&) = default;
};

struct WF_API ControlReply {
  ControlOperation operation = ControlOperation::Connect;
  std::uint32_t sequence = 0;
  std::uint32_t status = 0;  // 0, or an error number of <errno.h>
  std::string payload;       // GetOption with status 0: the value

  // Empty when the message cannot be spelt: too much payload, a payload elsewhere than told above.
  [[nodiscard]] std::string encoded() const;
  [[nodiscard]] static std::optional<ControlReply> decoded(std::string_view packet);
  friend bool operator==(const ControlReply&, const ControlReply&) = default;
};

}  // namespace sifterra::platform
