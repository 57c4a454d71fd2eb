// What the daemon reads: configurations, kept states, /etc/subuid and the values of options. A text is read
// or refused with a reason, never both; a state that was read is written and read again as the same; rules
// speak of no user number that nobody has, and their braces match.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Configuration.h"
#include "FilterState.h"
#include "SubordinateIds.h"
#include "ruleset.h"

namespace {

using namespace sifterra::netfilterd;

void check(bool holds) {
  if (!holds) std::abort();
}

class AnyAccount final : public Accounts {
 public:
  [[nodiscard]] std::optional<std::uint32_t> uidOf(const std::string& name) const override {
    return name.size() > 8 ? std::nullopt : std::optional<std::uint32_t>(1000 + name.size());
  }
};

void checkRules(const FilterPlan& plan) {
  const std::string rules = rulesetText(plan);
  check(std::count(rules.begin(), rules.end(), '{') == std::count(rules.begin(), rules.end(), '}'));
  check(rules.find("4294967295") == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const IdRange& range : subordinateIds(text, "ann", 1001)) {
    check(range.first != 0 && range.first <= range.last && range.last != 0xffffffff);
  }
  std::string problem;
  FilterState state;
  if (const auto read = stateOf(text, problem)) {
    check(problem.empty());
    check(stateOf(stateText(*read), problem) == read);
    state = *read;
  } else {
    check(!problem.empty());
  }
  (void)setManagedUser(state, text.substr(0, 4));
  (void)setIPv4Proxy(state, text);
  (void)setIPv6Proxy(state, text);
  const auto configuration = configurationOf(text, AnyAccount(), problem);
  check(configuration.has_value() == problem.empty());
  checkRules(planOf(configuration.value_or(Configuration{}), state, text, "ann", 1000000000));
  return 0;
}
