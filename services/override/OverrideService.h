// OverrideService: what to answer to each request, without a socket in sight.
//
//   POST /webcontentfilter.override.local         the block page's form: url, title in base64. Comes from the
//   refused
//                                                 site's origin, so anybody's page may send it: shows, and
//                                                 does nothing
//   POST /webcontentfilter.override.local/allow   the service's own form: token, name, password, scope. Only
//   from the page
//                                                 above, by the same user
//
// Whose request it is comes from the connection, never from a form. Several threads at once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Askings.h"
#include "Attempts.h"
#include "Authenticator.h"
#include "override_page.h"

namespace sifterra::override_service {

inline constexpr int kPort = 10011;
inline constexpr const char* kAskPath = "/webcontentfilter.override.local";
inline constexpr const char* kAllowPath = "/webcontentfilter.override.local/allow";
// A field longer than that, or more of them than the forms have, makes a form too large.
inline constexpr std::size_t kMostFormBytes = 64 * 1024;

struct Request {
  std::string method;
  std::string path;
  std::map<std::string, std::string> headers;  // names in lower case
  std::map<std::string, std::string> fields;
  enum class Form { Good, TooLarge, Malformed } form = Form::Good;
  std::optional<std::uint32_t> uid;  // whose connection it is
};

struct Reply {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

class OverrideService {
 public:
  struct Surroundings {
    Authenticator& authenticator;
    Clock clock;
    // An account's name for its number.
    std::function<std::optional<std::string>(std::uint32_t)> accountName;
    // An account's number for its name.
    std::function<std::optional<std::uint32_t>(const std::string&)> accountNumber;
    // Waits; what makes wrong passwords slow.
    std::function<void(std::chrono::milliseconds)> wait;
    // A line for the log: 3 error, 4 warning, 5 notice. Holds no control characters.
    std::function<void(int level, const std::string&)> log;
    // The ports under which browsers reach the service.
    std::vector<int> ports = {kPort};
    // For lockouts, and where they are kept over a restart; empty: nowhere.
    WallClock wallClock = [] { return std::chrono::system_clock::now(); };
    std::string attemptsFile;
  };

  explicit OverrideService(Surroundings surroundings);

  [[nodiscard]] Reply answer(const Request& request);

 private:
  [[nodiscard]] bool isOurHost(const std::string& host) const;
  [[nodiscard]] bool isOwnOrigin(const Request& request) const;
  [[nodiscard]] Attempts::Answer beginInTurn(std::uint32_t uid);
  // Who asks; the language is read from the user's preferences once a request.
  struct Asker {
    std::string user;
    std::string localization;
  };
  [[nodiscard]] Reply turnedAway(const std::string& user, const std::string& localization);
  [[nodiscard]] Reply ask(const Request& request, const Asker& asker);
  [[nodiscard]] Reply allow(const Request& request, const Asker& asker);
  [[nodiscard]] bool admits(const Request& request, const Asker& asker, std::uint32_t uid);
  [[nodiscard]] Reply decide(const Request& request, const Asker& asker, const Asking& asking);
  [[nodiscard]] Reply open(const Asker& asker, const Asking& asking, const ConfirmationPage& page);

  Surroundings _surroundings;
  Askings _askings;
  Attempts _attempts;
};

}  // namespace sifterra::override_service
