// OverrideFixture: the override service with an approver, a clock and accounts of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OverrideService.h"
#include "PolicyFolder.h"
#include "sifterra/sifterra.h"

namespace sifterra::override_service {

inline constexpr std::uint32_t kAnn = 1001;
inline constexpr std::uint32_t kBen = 1002;
inline const std::string kUrl = "https://www.example.org/a?b=1&c='2'";

// The password of "mother" is "secret".
class OneAdministrator final : public Authenticator {
 public:
  [[nodiscard]] bool admits(const std::string& name, const std::string& password) override {
    ++asked;
    if (password == "no memory") throw std::bad_alloc();
    if (meanwhile) meanwhile();
    return name == "mother" && password == "secret";
  }
  int asked = 0;
  std::function<void()> meanwhile;
};

inline std::string base64(const std::string& text) {
  WFReleaseScopeBegin();
  const WFStringRef plain = WFStringCreateWithUTF8(text.c_str());
  std::string encoded = WFStringGetUTF8(NS64BaseStringFromString(plain));
  WFRelease(plain);
  WFReleaseScopeEnd();
  return encoded;
}

inline std::string headerOf(const Reply& reply, const std::string& name) {
  for (const auto& [key, value] : reply.headers) {
    if (key == name) return value;
  }
  return "";
}

inline std::string tokenIn(const std::string& page) {
  const std::string before = "name=\"token\" value=\"";
  const std::size_t at = page.find(before);
  return at == std::string::npos ? "" : page.substr(at + before.size(), 32);
}

// A service in which ann is restricted; clock, waits and accounts are the test's.
class OverrideFixture : public testing::Test {
 protected:
  OverrideFixture() { _folder.write("ann", {"restrictWeb", "useContentFilter"}); }

  static Request post(const std::string& path, std::map<std::string, std::string> fields,
                      std::optional<std::uint32_t> uid = kAnn) {
    Request request;
    request.method = "POST";
    request.path = path;
    request.headers = {{"host", "127.0.0.1:10011"}, {"origin", "http://127.0.0.1:10011"}};
    request.fields = std::move(fields);
    request.uid = uid;
    return request;
  }
  // As the block page sends it, from the refused site's origin.
  static Request asking(const std::string& url = kUrl, const std::string& title = "A page") {
    Request request = post(kAskPath, {{"url", base64(url)}, {"title", base64(title)}});
    request.headers["origin"] = "https://www.example.org";
    request.headers["sec-fetch-site"] = "cross-site";
    return request;
  }
  std::string token() { return tokenIn(_service.answer(asking()).body); }
  static Request allowing(const std::string& token, const std::string& name = "mother",
                          const std::string& password = "secret") {
    return post(kAllowPath, {{"token", token}, {"name", name}, {"password", password}, {"scope", "site"}});
  }

  PolicyFolder _folder;
  OneAdministrator _administrator;
  std::chrono::steady_clock::time_point _now{};
  std::chrono::system_clock::time_point _wall{std::chrono::seconds(1790000000)};
  std::vector<std::chrono::milliseconds> _waits;
  std::vector<std::string> _log;
  std::optional<std::string> _nameOfAnn = "ann";
  std::optional<std::uint32_t> _numberOfMother = 1000;
  std::function<void(std::chrono::milliseconds)> _onWait = [this](std::chrono::milliseconds time) {
    _waits.push_back(time);
  };
  OverrideService _service{{_administrator,
                            [this] { return _now; },
                            [this](std::uint32_t uid) -> std::optional<std::string> {
                              if (uid == kAnn) return _nameOfAnn;
                              if (uid == kBen) return "ben";
                              return std::nullopt;
                            },
                            [this](const std::string& name) -> std::optional<std::uint32_t> {
                              return name == "mother" ? _numberOfMother : std::nullopt;
                            },
                            [this](std::chrono::milliseconds time) { _onWait(time); },
                            [this](int, const std::string& line) { _log.push_back(line); },
                            {kPort},
                            [this] { return _wall; },
                            ""}};
};

}  // namespace sifterra::override_service
