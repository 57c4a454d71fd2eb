#include "surroundings.h"

#include <cstddef>
#include <ctime>

#include "common/durable_file.h"
#include "resolvers.h"

namespace sifterra::netfilterd {

bool readSurroundings(const std::string& subordinates, const std::string& resolvers,
                      Surroundings& surroundings, std::string& problem) {
  constexpr std::size_t kMostFileBytes = 4 << 20;
  bool missing = false;
  const auto lent = services::readWhole(subordinates, kMostFileBytes, problem, &missing);
  if (!lent && !missing) return false;
  surroundings.subordinates = lent.value_or("");
  std::string ignored;
  surroundings.resolvers = resolversOf(services::readWhole(resolvers, kMostFileBytes, ignored).value_or(""));
  surroundings.now = std::time(nullptr);
  return true;
}

}  // namespace sifterra::netfilterd
