// ControlMessage: both kinds have the same header.
//
//   0  4  "WFQ1" for a request, "WFA1" for a reply
//   4  2  operation
//   6  2  zero
//   8  4  sequence
//  12  4  option, or status
//  16  4  length of the payload; of a GetOption request the room
//  20     the payload
#include "sifterra/platform/ControlMessage.h"

namespace sifterra::platform {

namespace {

constexpr std::string_view kRequestMark = "WFQ1";
constexpr std::string_view kReplyMark = "WFA1";
constexpr std::size_t kOperationAt = 4;
constexpr std::size_t kZeroAt = 6;
constexpr std::size_t kSequenceAt = 8;
constexpr std::size_t kOptionAt = 12;
constexpr std::size_t kLengthAt = 16;

struct Header {
  std::uint16_t operation;
  std::uint32_t sequence;
  std::uint32_t optionOrStatus;
  std::uint32_t length;
};

void append(std::string& bytes, std::uint32_t number, int count) {
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
}

std::uint32_t numberAt(std::string_view bytes, std::size_t offset, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = count; i > 0; --i)
    number = number << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
  return number;
}

std::string packed(std::string_view mark, const Header& header, std::string_view payload) {
  std::string packet(mark);
  packet.reserve(kControlHeaderBytes + payload.size());
  append(packet, header.operation, 2);
  append(packet, 0, 2);
  append(packet, header.sequence, 4);
  append(packet, header.optionOrStatus, 4);
  append(packet, header.length, 4);
  return packet.append(payload);
}

bool isOperation(std::uint32_t number) {
  return number >= static_cast<std::uint32_t>(ControlOperation::Connect) &&
         number <= static_cast<std::uint32_t>(ControlOperation::GetOption);
}

std::optional<Header> unpacked(std::string_view mark, std::string_view packet) {
  if (packet.size() < kControlHeaderBytes || packet.size() > kControlMostBytes || !packet.starts_with(mark))
    return std::nullopt;
  const std::uint32_t operation = numberAt(packet, kOperationAt, 2);
  if (!isOperation(operation) || numberAt(packet, kZeroAt, 2) != 0) return std::nullopt;
  const Header header{static_cast<std::uint16_t>(operation), numberAt(packet, kSequenceAt, 4),
                      numberAt(packet, kOptionAt, 4), numberAt(packet, kLengthAt, 4)};
  if (header.length > kControlMostPayload) return std::nullopt;
  return header;
}

bool canBeSpelt(const ControlRequest& request) {
  const bool set = request.operation == ControlOperation::SetOption;
  const bool get = request.operation == ControlOperation::GetOption;
  return isOperation(static_cast<std::uint32_t>(request.operation)) && (set || request.payload.empty()) &&
         (get || request.room == 0) && request.payload.size() <= kControlMostPayload &&
         request.room <= kControlMostPayload;
}

bool canBeSpelt(const ControlReply& reply) {
  const bool valued = reply.operation == ControlOperation::GetOption && reply.status == 0;
  return isOperation(static_cast<std::uint32_t>(reply.operation)) && (valued || reply.payload.empty()) &&
         reply.payload.size() <= kControlMostPayload;
}

}  // namespace

std::string ControlRequest::encoded() const {
  if (!canBeSpelt(*this)) return {};
  const auto length = static_cast<std::uint32_t>(payload.size());
  const Header header{static_cast<std::uint16_t>(operation), sequence, option,
                      operation == ControlOperation::GetOption ? room : length};
  return packed(kRequestMark, header, payload);
}

std::optional<ControlRequest> ControlRequest::decoded(std::string_view packet) {
  const std::optional<Header> header = unpacked(kRequestMark, packet);
  if (!header) return std::nullopt;
  const auto operation = static_cast<ControlOperation>(header->operation);
  const bool get = operation == ControlOperation::GetOption;
  const std::string_view payload = packet.substr(kControlHeaderBytes);
  if (payload.size() != (get ? 0 : header->length)) return std::nullopt;
  ControlRequest request{operation, header->sequence, header->optionOrStatus, get ? header->length : 0,
                         std::string(payload)};
  if (!canBeSpelt(request)) return std::nullopt;
  return request;
}

std::string ControlReply::encoded() const {
  if (!canBeSpelt(*this)) return {};
  const Header header{static_cast<std::uint16_t>(operation), sequence, status,
                      static_cast<std::uint32_t>(payload.size())};
  return packed(kReplyMark, header, payload);
}

std::optional<ControlReply> ControlReply::decoded(std::string_view packet) {
  const std::optional<Header> header = unpacked(kReplyMark, packet);
  if (!header || packet.size() - kControlHeaderBytes != header->length) return std::nullopt;
  ControlReply reply{static_cast<ControlOperation>(header->operation), header->sequence,
                     header->optionOrStatus, std::string(packet.substr(kControlHeaderBytes))};
  if (!canBeSpelt(reply)) return std::nullopt;
  return reply;
}

}  // namespace sifterra::platform
