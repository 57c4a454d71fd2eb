// surroundings: the machine's own files that the rules depend on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sifterra::netfilterd {

struct Surroundings {
  std::string subordinates;            // the text of /etc/subuid
  std::string nameOfManagedUser;       // the account name of the user whom a program named
  std::vector<std::string> resolvers;  // whom the machine asks for names
  std::int64_t now = 0;                // seconds since 1970
};

// Reads the two files, and the clock. False, and `problem`, when the numbers that are lent cannot be read:
// rules without them would leave open what they were to close. Without resolvers there are no names.
[[nodiscard]] bool readSurroundings(const std::string& subordinates, const std::string& resolvers,
                                    Surroundings& surroundings, std::string& problem);

}  // namespace sifterra::netfilterd
