#include "OverrideService.h"

#include <sys/random.h>

#include <algorithm>
#include <array>

#include "allow_site.h"
#include "override_page.h"
#include "sifterra/platform/String.h"
#include "sifterra/sifterra.h"

namespace sifterra::override_service {
namespace {

constexpr std::size_t kMostAddress = 8192;
constexpr std::size_t kMostTitle = 1024;
// In the log.
constexpr std::size_t kMostLoggedName = 64;
constexpr std::size_t kMostLoggedAddress = 512;
// How often and how long a form waits for another of the same user's: longer than checking a password takes.
constexpr int kMostTurns = 400;
constexpr std::chrono::milliseconds kTurn{100};

// Whatever a library call hands out goes with this.
class Scoped {
 public:
  Scoped() { WFReleaseScopeBegin(); }
  ~Scoped() { WFReleaseScopeEnd(); }
  Scoped(const Scoped&) = delete;
  Scoped& operator=(const Scoped&) = delete;
};

std::string field(const Request& request, const char* name) {
  const auto found = request.fields.find(name);
  return found == request.fields.end() ? "" : found->second;
}

std::string header(const Request& request, const char* name) {
  const auto found = request.headers.find(name);
  return found == request.headers.end() ? "" : found->second;
}

std::optional<std::string> fromBase64(const std::string& text) {
  const Scoped scope;
  const WFStringRef encoded = WFStringCreateWithUTF8Bytes(text.data(), text.size());
  const WFStringRef decoded = NSStringFrom64BaseString(encoded);
  std::optional<std::string> bytes;
  if (decoded != nullptr) bytes.emplace(WFStringGetUTF8(decoded), WFStringGetUTF8Length(decoded));
  WFRelease(encoded);
  return bytes;
}

// What clears a terminal, breaks a line, or turns around the text after it.
bool isControl(char16_t unit) {
  return unit < 0x20 || (unit >= 0x7f && unit < 0xa0) || (unit >= 0x2028 && unit <= 0x202e) ||
         (unit >= 0x2066 && unit <= 0x2069);
}

// Control characters become blanks: a title that clears the screen of whoever reads the log is no title. What
// is no UTF-8 becomes U+FFFD, because the journal shows nothing of a line that holds it.
std::string oneLine(const std::string& text) {
  std::u16string line(platform::String::fromUTF8Lossy(text).view());
  std::replace_if(line.begin(), line.end(), isControl, u' ');
  return platform::String(line).toUTF8();
}

// For the log: no longer than it helps whoever reads it, and cut between characters.
std::string shortLine(const std::string& text, std::size_t most) {
  if (text.size() <= most) return oneLine(text);
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  return oneLine(text.substr(0, end)) + "...";
}

std::string freshNonce() {
  std::array<unsigned char, 12> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return "none";
  constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  std::string nonce;
  for (const unsigned char byte : bytes) nonce += kLetters[byte & 63];
  return nonce;
}

Reply htmlReply(int status, const std::string& nonce, std::string body) {
  return {status,
          {{"Content-Type", "text/html; charset=utf-8"},
           {"Cache-Control", "no-store"},
           // Names no form-action: browsers would hold up the way on to the page that was allowed.
           {"Content-Security-Policy",
            "default-src 'none'; base-uri 'none'; frame-ancestors 'none'; img-src data:; style-src 'nonce-" +
                nonce + "'"},
           {"X-Frame-Options", "DENY"},
           {"X-Content-Type-Options", "nosniff"},
           // Not "no-referrer": browsers then also hide where the form comes from.
           {"Referrer-Policy", "same-origin"},
           {"Cross-Origin-Opener-Policy", "same-origin"},
           {"Cross-Origin-Resource-Policy", "same-origin"}},
          std::move(body)};
}

Reply messageReply(int status, Message message, const std::string& localization) {
  const std::string nonce = freshNonce();
  return htmlReply(status, nonce, messagePage(message, localization, nonce));
}

Reply confirmationReply(int status, const ConfirmationPage& page, const std::string& localization) {
  const std::string nonce = freshNonce();
  Reply reply = htmlReply(status, nonce, confirmationPage(page, localization, nonce));
  if (page.notice == Notice::Locked) {
    reply.headers.emplace_back("Retry-After", std::to_string(page.wait.count() * 60));
  }
  return reply;
}

// To the page that is open now.
Reply leadOn(const std::string& url) {
  return {303, {{"Location", url}, {"Cache-Control", "no-store"}, {"Referrer-Policy", "no-referrer"}}, ""};
}

// A person's browser goes from page to page. What a script or a frame of a foreign page sends would at least
// push out the askings that are pending.
bool isNavigation(const Request& request) {
  const std::string mode = header(request, "sec-fetch-mode");
  const std::string destination = header(request, "sec-fetch-dest");
  return (mode.empty() || mode == "navigate") && (destination.empty() || destination == "document");
}

constexpr const char* kFallback = "English";

}  // namespace

OverrideService::OverrideService(Surroundings surroundings)
    : _surroundings(std::move(surroundings)),
      _askings(_surroundings.clock),
      _attempts(_surroundings.wallClock, _surroundings.attemptsFile,
                [this](const std::string& line) { _surroundings.log(4, oneLine(line)); }) {}

bool OverrideService::isOurHost(const std::string& host) const {
  return std::any_of(_surroundings.ports.begin(), _surroundings.ports.end(), [&](int port) {
    const std::string suffix = ':' + std::to_string(port);
    return host == "127.0.0.1" + suffix || host == "[::1]" + suffix || host == "localhost" + suffix;
  });
}

// A browser says where a form comes from, and a page cannot make it say otherwise.
bool OverrideService::isOwnOrigin(const Request& request) const {
  const std::string site = header(request, "sec-fetch-site");
  return header(request, "origin") == "http://" + header(request, "host") &&
         (site.empty() || site == "same-origin");
}

Reply OverrideService::answer(const Request& request) {
  // A name that somebody pointed at this machine (DNS rebinding) is none of ours.
  if (!isOurHost(header(request, "host"))) return messageReply(421, Message::Bad, kFallback);
  const bool asks = request.path == kAskPath;
  if (!asks && request.path != kAllowPath) return messageReply(404, Message::Bad, kFallback);
  const auto user = request.uid ? _surroundings.accountName(*request.uid) : std::nullopt;
  if (!user) return messageReply(403, Message::NotAllowed, kFallback);
  const std::string localization = localizationOf(*user);
  if (request.method != "POST") {
    Reply reply = messageReply(405, Message::Bad, localization);
    reply.headers.emplace_back("Allow", "POST");
    return reply;
  }
  if (request.form == Request::Form::TooLarge) return messageReply(413, Message::Bad, localization);
  if (request.form == Request::Form::Malformed) return messageReply(400, Message::Bad, localization);
  if (!isNavigation(request)) return messageReply(403, Message::Bad, localization);
  if (!mayAsk(*user)) return turnedAway(*user, localization);
  const Asker asker{*user, localization};
  return asks ? ask(request, asker) : allow(request, asker);
}

// Nobody forbade it where the policy is broken: whoever looks after the machine finds the reason in the log.
Reply OverrideService::turnedAway(const std::string& user, const std::string& localization) {
  const std::string problem = policyProblem(user);
  if (problem.empty()) return messageReply(403, Message::NotAllowed, localization);
  _surroundings.log(3, "nothing can be opened for " + user + ": " + shortLine(problem, kMostLoggedAddress));
  return messageReply(500, Message::Failed, localization);
}

Reply OverrideService::ask(const Request& request, const Asker& asker) {
  const auto url = fromBase64(field(request, "url"));
  const auto title = fromBase64(field(request, "title"));
  if (!url || url->size() > kMostAddress || listedAddress(*url, Scope::Page).empty()) {
    return messageReply(400, Message::Bad, asker.localization);
  }
  // Without a title the field is empty; one that is no text is left out.
  std::string name = oneLine(title.value_or(""));
  if (name.size() > kMostTitle) name.clear();
  ConfirmationPage page;
  page.user = asker.user;
  page.url = *url;
  page.title = name;
  page.token = _askings.add({*request.uid, asker.user, *url, name});
  if (page.token.empty()) return messageReply(500, Message::Failed, asker.localization);
  return confirmationReply(200, page, asker.localization);
}

Reply OverrideService::allow(const Request& request, const Asker& asker) {
  if (!isOwnOrigin(request)) return messageReply(403, Message::Bad, asker.localization);
  const auto asking = _askings.find(field(request, "token"), *request.uid);
  if (!asking || asking->user != asker.user) return messageReply(400, Message::Expired, asker.localization);
  return decide(request, asker, *asking);
}

// Whoever presses the button twice sends two forms, and sees the answer to the second.
Attempts::Answer OverrideService::beginInTurn(std::uint32_t uid) {
  Attempts::Answer answer = _attempts.begin(uid);
  for (int turn = 0; answer == Attempts::Answer::Busy && turn < kMostTurns; ++turn) {
    _surroundings.wait(kTurn);
    answer = _attempts.begin(uid);
  }
  return answer;
}

// A wrong one is held back before it is counted, so that the next cannot begin meanwhile.
bool OverrideService::admits(const Request& request, const Asker& asker, std::uint32_t uid) {
  const std::string name = field(request, "name");
  // Who asks does not decide, whatever his groups, and under no other name that his account has.
  const bool right = name != asker.user &&
                     _surroundings.authenticator.admits(name, field(request, "password")) &&
                     _surroundings.accountNumber(name) != uid;
  if (!right) _surroundings.wait(std::max(_attempts.delay(uid), std::chrono::milliseconds{250}));
  return right;
}

Reply OverrideService::decide(const Request& request, const Asker& asker, const Asking& asking) {
  ConfirmationPage page;
  page.user = asker.user;
  page.url = asking.url;
  page.title = asking.title;
  page.token = field(request, "token");
  page.name = field(request, "name");
  page.scope = field(request, "scope") == "page" ? Scope::Page : Scope::Site;
  const auto locked = [&] {
    page.notice = Notice::Locked;
    page.wait = std::max(_attempts.remaining(asking.uid), std::chrono::minutes{1});
    return confirmationReply(429, page, asker.localization);
  };
  if (beginInTurn(asking.uid) != Attempts::Answer::Go) return locked();
  Check check(_attempts, asking.uid);
  // Another form with this token may have had its turn before.
  const auto now = _askings.find(page.token, asking.uid);
  if (!now) return messageReply(400, Message::Expired, asker.localization);
  if (now->opened) return leadOn(now->url);
  if (admits(request, asker, asking.uid)) {
    Reply reply = open(asker, asking, page);
    check.end(true);
    return reply;
  }
  check.end(false);
  _surroundings.log(4, "refused: \"" + shortLine(page.name, kMostLoggedName) + "\" may not allow " +
                           shortLine(asking.url, kMostLoggedAddress) + " for " + asker.user);
  if (_attempts.remaining(asking.uid).count() > 0) return locked();
  page.notice = Notice::Wrong;
  return confirmationReply(403, page, asker.localization);
}

Reply OverrideService::open(const Asker& asker, const Asking& asking, const ConfirmationPage& page) {
  const std::string allowed = shortLine(page.name, kMostLoggedName) + " allowed ";
  std::string problem;
  if (!allowSite(asker.user, asking.url, asking.title, page.scope, problem)) {
    _askings.remove(page.token);
    _surroundings.log(4, allowed + shortLine(asking.url, kMostLoggedAddress) + " for " + asker.user +
                             ", but: " + shortLine(problem, kMostLoggedAddress));
    return messageReply(500, Message::Failed, asker.localization);
  }
  _askings.setOpened(page.token);
  _surroundings.log(5, allowed + shortLine(listedAddress(asking.url, page.scope), kMostLoggedAddress) +
                           " for " + asker.user);
  return leadOn(asking.url);
}

}  // namespace sifterra::override_service
