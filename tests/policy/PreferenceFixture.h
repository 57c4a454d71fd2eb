// PreferenceFixture: a root directory of its own, with preference files in it, for the life of a test.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace sifterra {

class PreferenceFixture {
 public:
  PreferenceFixture();  // an empty root and an empty cache of preferences
  ~PreferenceFixture();
  PreferenceFixture(const PreferenceFixture&) = delete;
  PreferenceFixture& operator=(const PreferenceFixture&) = delete;

  // Where the user's file is; its directory exists from the first call on.
  [[nodiscard]] std::string pathFor(const std::string& user) const;
  // Replaces the user's file as a whole, the way administrators' programs do.
  void write(const std::string& user, std::string_view bytes) const;
  // An XML property list whose dictionary holds `body`.
  void writeKeys(const std::string& user, const std::string& body) const;
  // A date far enough from now that the cache trusts it: `seconds` since 1970.
  void setDate(const std::string& user, long seconds) const;

 private:
  std::string root_;
};

[[nodiscard]] std::string xmlList(const std::string& body);  // the body as the one value of an XML list
[[nodiscard]] std::string xmlTexts(const std::string& key, std::initializer_list<const char*> texts);
[[nodiscard]] std::string xmlSites(std::initializer_list<const char*> addresses);  // "siteWhitelist"
[[nodiscard]] std::string xmlSwitch(const std::string& key, bool on);

}  // namespace sifterra
