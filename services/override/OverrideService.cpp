#include "OverrideService.h"

#include <sys/random.h>

#include <algorithm>
#include <array>

#include "allow_site.h"
#include "override_page.h"
#include "sifterra/sifterra.h"

namespace sifterra::override_service {
namespace {

constexpr std::size_t kMostAddress = 8192;
constexpr std::size_t kMostTitle = 1024;
// In the log.
constexpr std::size_t kMostLoggedName = 64;
constexpr std::size_t kMostLoggedAddress = 512;

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

// Control characters become blanks: a title that clears the screen of whoever reads the log is no title.
std::string oneLine(std::string text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F, which some terminals obey as well.
    const bool isSecondSet =
        byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (byte < 0x20 || byte == 0x7f || isSecondSet) text[i] = ' ';
    if (isSecondSet) text[++i] = ' ';
  }
  return text;
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
  if (!mayAsk(*user)) return messageReply(403, Message::NotAllowed, localization);
  const Asker asker{*user, localization};
  return asks ? ask(request, asker) : allow(request, asker);
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
  page.token = _askings.add({*request.uid, *url, name});
  if (page.token.empty()) return messageReply(500, Message::Failed, asker.localization);
  return confirmationReply(200, page, asker.localization);
}

Reply OverrideService::allow(const Request& request, const Asker& asker) {
  if (!isOwnOrigin(request)) return messageReply(403, Message::Bad, asker.localization);
  const auto asking = _askings.find(field(request, "token"), *request.uid);
  if (!asking) return messageReply(400, Message::Expired, asker.localization);
  return decide(request, asker, *asking);
}

// A wrong one is held back before it is counted, so that the next cannot begin meanwhile.
bool OverrideService::admits(const Request& request, const Asker& asker, std::uint32_t uid) {
  Check check(_attempts, uid);
  const std::string name = field(request, "name");
  // Who asks does not decide, whatever his groups.
  const bool right =
      name != asker.user && _surroundings.authenticator.admits(name, field(request, "password"));
  if (!right) _surroundings.wait(std::max(_attempts.delay(uid), std::chrono::milliseconds{250}));
  check.end(right);
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
  if (_attempts.begin(asking.uid) != Attempts::Answer::Go) return locked();
  const std::string name = shortLine(field(request, "name"), kMostLoggedName);
  if (!admits(request, asker, asking.uid)) {
    _surroundings.log(4, "refused: \"" + name + "\" may not allow " +
                             shortLine(asking.url, kMostLoggedAddress) + " for " + asker.user);
    if (_attempts.remaining(asking.uid).count() > 0) return locked();
    page.notice = Notice::Wrong;
    return confirmationReply(403, page, asker.localization);
  }
  _askings.remove(page.token);
  std::string problem;
  if (!allowSite(asker.user, asking.url, asking.title, page.scope, problem)) {
    _surroundings.log(4, name + " allowed " + shortLine(asking.url, kMostLoggedAddress) + " for " +
                             asker.user + ", but: " + shortLine(problem, kMostLoggedAddress));
    return messageReply(500, Message::Failed, asker.localization);
  }
  _surroundings.log(5, name + " allowed " +
                           shortLine(listedAddress(asking.url, page.scope), kMostLoggedAddress) + " for " +
                           asker.user);
  return {
      303, {{"Location", asking.url}, {"Cache-Control", "no-store"}, {"Referrer-Policy", "no-referrer"}}, ""};
}

}  // namespace sifterra::override_service
