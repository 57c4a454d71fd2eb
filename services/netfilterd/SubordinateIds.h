// SubordinateIds: the further user numbers that an account may run processes under.
//
// /etc/subuid lends accounts ranges of numbers, for containers without root. A process in such a range
// belongs to its account for all the administrator cares; a filter that knew the account's own number alone
// would be left with one command (a container on the host's network).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::netfilterd {

struct IdRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;  // included
  friend bool operator==(const IdRange&, const IdRange&) = default;
};

// The ranges that `text`, in the form of /etc/subuid ("name:first:count" or "number:first:count" a line),
// lends to the account; lines that are not of that form are passed over, as the system does. Ranges are cut
// at the largest number that can be a user's.
[[nodiscard]] std::vector<IdRange> subordinateIds(std::string_view text, const std::string& name,
                                                  std::uint32_t uid);

}  // namespace sifterra::netfilterd
