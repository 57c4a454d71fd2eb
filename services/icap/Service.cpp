#include "Service.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "sifterra/judge/WFJudge.h"
#include "sifterra/sifterra.h"
#include "user_name.h"

namespace sifterra::icap {

Service::Service(Settings settings, Counters* counters, Log log)
    : settings_(std::move(settings)),
      counters_(counters),
      log_(std::move(log)),
      users_(settings_.userMapPath, log_),
      policies_(log_),
      judgements_(std::max(2U, std::thread::hardware_concurrency())) {}

std::string Service::start() {
  WFSetFileSystemRoot(settings_.root.c_str());
  // Whoever owns an address decides about its name, and asking takes time.
  WFSetNameLookups(0);
  if (!WFJudge::defaultJudge()) {
    const platform::String path = WFJudge::defaultLSMMapPath();
    return path ? "the map " + path.toUTF8() + " cannot be loaded" : "there is no map";
  }
  // What the judge makes at its first page is made once, before the server's processes part.
  static_cast<void>(WFIsWebPageExplicit(nullptr, nullptr, nullptr, nullptr));
  return users_.load();
}

std::string Service::userOf(const HttpMessage& message) {
  const NameEncoding encoding = settings_.nameEncoding;
  std::string user = userFromHeader(message.clientUsername, encoding, false);
  if (user.empty()) user = userFromHeader(message.authenticatedUser, encoding, true);
  if (user.empty()) user = users_.userOf(message.clientAddress);
  return user.empty() ? settings_.defaultUser : PolicyBook::spelt(user);
}

}  // namespace sifterra::icap
