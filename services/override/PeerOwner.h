// PeerOwner: whose connection it is.
//
// The form cannot be trusted with the user's name, but both ends of the connection are on this machine: the
// kernel knows who made the other socket (sock_diag).
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>

namespace sifterra::override_service {

// The user number of the process that made the other end of a TCP connection; `client` and `server` are its
// two addresses, as accept and getsockname give them. Nothing when the kernel does not know: a client that is
// gone, or not on this machine.
[[nodiscard]] std::optional<std::uint32_t> ownerOfConnection(const sockaddr_storage& client,
                                                             const sockaddr_storage& server);

// The account's name for a number.
[[nodiscard]] std::optional<std::string> accountName(std::uint32_t uid);
// The number for an account's name.
[[nodiscard]] std::optional<std::uint32_t> accountNumber(const std::string& name);

}  // namespace sifterra::override_service
