// What the daemon reads: configurations, kept states and numbers, /etc/subuid, /etc/resolv.conf and the
// values of options. A text is read or refused with a reason, never both; what was kept is written and read
// again as the same; rules speak of no user number that nobody has, their braces match, and what stands for
// an address is one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Configuration.h"
#include "FilterState.h"
#include "KeptAccounts.h"
#include "SubordinateIds.h"
#include "resolvers.h"
#include "ruleset.h"

namespace {

using namespace sifterra::netfilterd;

void check(bool holds) {
  if (!holds) std::abort();
}

class AnyAccount final : public Accounts {
 public:
  [[nodiscard]] Number numberOf(const std::string& name) const override {
    if (name.size() > 8) return {std::nullopt, "there is no such account"};
    return {static_cast<std::uint32_t>(1000 + name.size()), ""};
  }
  [[nodiscard]] std::optional<std::string> nameOf(std::uint32_t) const override { return std::nullopt; }
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
  const auto kept = numbersIn(text);
  check(numbersIn(numbersText(kept)) == kept);
  const auto resolvers = resolversOf(text);
  for (const std::string& address : resolvers) check(isAddress(address));
  checkRules(planOf(configuration.value_or(Configuration{}), state, {text, "ann", resolvers, 1000000000}));
  return 0;
}
