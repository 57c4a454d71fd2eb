// PolicyBook: the policy of each user, and what to do where there is none.
//
// The library reads a preference file again when it changes, and takes a broken one for none. Here the last
// good policy of a user stays in force instead, until the file can be read again or is gone.
#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "Log.h"
#include "Settings.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra::icap {

struct Policy {
  enum class State {
    InForce,   // the preferences are those of the user's file
    LastGood,  // the file is broken; these are the ones before
    Unknown,   // nobody is known, or there is no file
    Broken     // the file is broken, and never was read by this process
  };
  State state = State::Unknown;
  std::shared_ptr<const WFWhitelistUserPreferences>
      preferences;  // null unless in force or the last good ones
};

class PolicyBook {
 public:
  explicit PolicyBook(Log log) : log_(std::move(log)) {}

  // The name under which a user has a policy file: the name as it came, or, where there is none of that name,
  // in small ASCII letters. Proxies pass names on in whatever case somebody typed them.
  [[nodiscard]] static std::string spelt(const std::string& user);
  // Of a user; Unknown for an empty name.
  [[nodiscard]] Policy policyOf(const std::string& user);

 private:
  using Preferences = std::shared_ptr<const WFWhitelistUserPreferences>;

  void remember(const std::string& user, const Preferences& preferences);
  [[nodiscard]] Policy fallBack(const std::string& user, const Preferences& broken);

  Log log_;
  std::shared_mutex lock_;  // guards the rest
  std::unordered_map<std::string, Preferences> good_;
  std::unordered_set<std::string> broken_;  // users whose broken file the log has
};

}  // namespace sifterra::icap
