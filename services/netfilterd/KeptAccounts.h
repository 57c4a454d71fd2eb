// KeptAccounts: the numbers that accounts were last known by.
//
// A directory service that is down answers like one that never heard of an account. Whoever was filtered
// before stays filtered by his last number, also over a restart, until the number is somebody else's.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "Configuration.h"

namespace sifterra::netfilterd {

class KeptAccounts final : public Accounts {
 public:
  using Numbers = std::map<std::string, std::uint32_t>;

  // Asks `asked`, which outlives this, and falls back to the `kept` numbers.
  KeptAccounts(const Accounts& asked, Numbers kept) : _asked(asked), _kept(std::move(kept)) {}

  [[nodiscard]] Number numberOf(const std::string& name) const override;
  [[nodiscard]] std::optional<std::string> nameOf(std::uint32_t uid) const override;

 private:
  const Accounts& _asked;
  Numbers _kept;
};

// The numbers of a configuration's accounts.
[[nodiscard]] KeptAccounts::Numbers numbersOf(const Configuration& configuration);

// As JSON, {"ann": 1001}; a text that is none of that form holds nobody.
[[nodiscard]] std::string numbersText(const KeptAccounts::Numbers& numbers);
[[nodiscard]] KeptAccounts::Numbers numbersIn(std::string_view text);

}  // namespace sifterra::netfilterd
