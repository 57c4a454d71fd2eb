// What the override service is sent: headers and fields, in both of its requests. Whatever they are, an
// answer has one form at most, no script, and headers of one line; a line of the log has no control
// characters; only the right password leads on; and what a list would get for an address is an address that
// stays the same when it is read again, of the site that the page names.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "OverrideService.h"
#include "allow_site.h"
#include "sifterra/sifterra.h"

namespace {

using namespace sifterra::override_service;

void check(bool holds) {
  if (!holds) std::abort();
}

class Nobody final : public Authenticator {
 public:
  [[nodiscard]] bool admits(const std::string&, const std::string&) override { return false; }
};

// One restricted user below a root of the target's own.
void makePolicy() {
  namespace fs = std::filesystem;
  static const struct Root {
    std::string path;
    Root() {
      char pattern[] = "/tmp/override_fuzz.XXXXXX";
      path = mkdtemp(pattern);
      const fs::path folder = fs::path(path) / "Library/Managed Preferences/ann";
      fs::create_directories(folder);
      std::ofstream(folder / "com.vendrel.hearthguard.contentfilter.plist")
          << R"(<plist version="1.0"><dict><key>restrictWeb</key><true/>)"
             R"(<key>useContentFilter</key><true/></dict></plist>)";
      WFSetFileSystemRoot(path.c_str());
    }
    ~Root() { fs::remove_all(path); }
  } root;
}

std::string base64(std::string_view bytes) {
  constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += i + k > bytes.size() ? '=' : kLetters[group >> (18 - 6 * k) & 63];
    }
  }
  return text;
}

std::size_t countOf(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++count;
  return count;
}

bool isOneLine(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

void checkReply(const Reply& reply) {
  check(reply.status == 200 || (reply.status >= 400 && reply.status < 600));
  check(countOf(reply.body, "<form") <= 1);
  check(countOf(reply.body, "<script") == 0);
  check(countOf(reply.body, "<input") <= 5);
  for (const auto& [name, value] : reply.headers) check(isOneLine(value) && name != "Location");
}

void checkAddress(const std::string& url) {
  const std::string site = listedAddress(url, Scope::Site);
  const std::string page = listedAddress(url, Scope::Page);
  check(site.empty() == page.empty() && site.empty() == siteName(url).empty());
  if (site.empty()) return;
  check(page.starts_with(site) && isOneLine(page));
  check(listedAddress(site, Scope::Site) == site && listedAddress(page, Scope::Page) == page);
  check(site.find("://" + siteName(url)) != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 100000) return 0;  // forms are at most 64 KiB long
  // Seven fields, each ended by a line: what is sent as address, title and name, then as headers.
  std::array<std::string, 7> fields;
  std::size_t at = 0;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\n' && at + 1 < fields.size()) {
      ++at;
    } else {
      fields[at] += static_cast<char>(data[i]);
    }
  }
  const auto& [url, title, name, host, origin, mode, token] = fields;
  checkAddress(url);

  makePolicy();
  Nobody nobody;
  OverrideService service{{nobody,
                           [] { return std::chrono::steady_clock::now(); },
                           [](std::uint32_t) { return std::optional<std::string>("ann"); },
                           [](const std::string&) { return std::optional<std::uint32_t>(); },
                           [](std::chrono::milliseconds) {},
                           [](int, const std::string& line) { check(isOneLine(line)); },
                           {kPort},
                           [] { return std::chrono::system_clock::now(); },
                           ""}};
  Request request;
  request.method = "POST";
  request.path = kAskPath;
  request.uid = 1001;
  request.headers = {
      {"host", host.empty() ? "127.0.0.1:10011" : host}, {"origin", origin}, {"sec-fetch-mode", mode}};
  request.fields = {{"url", base64(url)}, {"title", base64(title)}};
  const Reply shown = service.answer(request);
  checkReply(shown);
  request.fields = {{"url", url}, {"title", title}};  // not in base64, or not as written above
  checkReply(service.answer(request));

  const std::string before = "name=\"token\" value=\"";
  const std::size_t given = shown.body.find(before);
  request.path = kAllowPath;
  if (origin.empty()) request.headers["origin"] = "http://" + request.headers["host"];
  request.fields = {
      {"token", given == std::string::npos ? token : shown.body.substr(given + before.size(), 32)},
      {"name", name},
      {"password", token},
      {"scope", mode}};
  checkReply(service.answer(request));
  return 0;
}
