#include "KeptAccounts.h"

#include <nlohmann/json.hpp>

namespace sifterra::netfilterd {

using Json = nlohmann::json;

Accounts::Number KeptAccounts::numberOf(const std::string& name) const {
  Number number = _asked.numberOf(name);
  if (number.uid) return number;
  const auto found = _kept.find(name);
  if (found == _kept.end()) return number;
  const auto owner = _asked.nameOf(found->second);
  if (owner && *owner != name) return number;
  number.uid = found->second;
  return number;
}

std::optional<std::string> KeptAccounts::nameOf(std::uint32_t uid) const {
  return _asked.nameOf(uid);
}

KeptAccounts::Numbers numbersOf(const Configuration& configuration) {
  KeptAccounts::Numbers numbers;
  for (const ConfiguredUser& user : configuration.users) numbers[user.name] = user.uid;
  if (configuration.proxyUid) numbers[configuration.proxyUser] = *configuration.proxyUid;
  return numbers;
}

std::string numbersText(const KeptAccounts::Numbers& numbers) {
  return Json(numbers).dump(2) + '\n';
}

KeptAccounts::Numbers numbersIn(std::string_view text) {
  KeptAccounts::Numbers numbers;
  const Json json = Json::parse(text, nullptr, false);
  if (!json.is_object()) return numbers;
  for (const auto& [name, number] : json.items()) {
    if (number.is_number_unsigned() && number.get<std::uint64_t>() < 0xffffffff) {
      numbers[name] = number.get<std::uint32_t>();
    }
  }
  return numbers;
}

}  // namespace sifterra::netfilterd
