// Service: what all requests share: the settings, who sits where, the policies and the counters.
#pragma once

#include <memory>
#include <semaphore>
#include <string>

#include "Counters.h"
#include "HttpMessage.h"
#include "Log.h"
#include "PolicyBook.h"
#include "Settings.h"
#include "UserMapFile.h"

namespace sifterra::icap {

class Service {
 public:
  // counters: outlive the service.
  Service(Settings settings, Counters* counters, Log log);

  // Loads the map and the user map; what is wrong, or nothing.
  [[nodiscard]] std::string start();

  // By the headers, the address, the default, spelt as the policy is; empty when nobody is known.
  [[nodiscard]] std::string userOf(const HttpMessage& message);
  [[nodiscard]] Policy policyOf(const std::string& user) { return policies_.policyOf(user); }

  [[nodiscard]] const Settings& settings() const noexcept { return settings_; }
  [[nodiscard]] Counters& counters() const noexcept { return *counters_; }
  void log(const std::string& line) const { log_(line); }
  // Held while a page is judged. As many are judged at once as there are processors: more would take as long,
  // and each would hold the memory of its page meanwhile.
  [[nodiscard]] std::counting_semaphore<>& judgements() noexcept { return judgements_; }

 private:
  Settings settings_;
  Counters* counters_;
  Log log_;
  UserMapFile users_;
  PolicyBook policies_;
  std::counting_semaphore<> judgements_;
};

}  // namespace sifterra::icap
