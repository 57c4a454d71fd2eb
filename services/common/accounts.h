// accounts: the system's accounts and groups, with a failure to ask told apart from "there is none".
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace sifterra::services {

struct Account {
  std::string name;
  std::uint32_t uid = 0;
  std::uint32_t gid = 0;
};

// The account of that name or number. Nothing when there is none; then `problem` is empty, unless the system
// could not be asked: a directory service that is down knows nobody, and that is no answer.
[[nodiscard]] std::optional<Account> accountNamed(const std::string& name, std::string& problem);
[[nodiscard]] std::optional<Account> accountOf(std::uint32_t uid, std::string& problem);

// The number of a group, or nothing.
[[nodiscard]] std::optional<std::uint32_t> groupNumber(const std::string& name);

}  // namespace sifterra::services
