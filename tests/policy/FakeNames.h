// FakeNames: while one lives, the process asks it for the names of addresses.
#pragma once

#include <arpa/inet.h>

#include <atomic>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/NameLookup.h"

namespace sifterra {

class FakeNames {
 public:
  // Names by address, "1.2.3.4"; others have none.
  FakeNames(std::initializer_list<std::pair<const std::string, std::string>> names = {})
      : source_(std::make_shared<Source>(names)),
        before_(platform::NameLookup::shared().replaceSource(source_)) {}
  ~FakeNames() { platform::NameLookup::shared().replaceSource(before_); }
  FakeNames(const FakeNames&) = delete;
  FakeNames& operator=(const FakeNames&) = delete;

  [[nodiscard]] int asked() const { return source_->asked; }

 private:
  struct Source final : platform::NameSource {
    explicit Source(std::initializer_list<std::pair<const std::string, std::string>> known) : names(known) {}
    Answer nameOf(std::uint32_t address, std::chrono::milliseconds /*limit*/) override {
      ++asked;
      char text[INET_ADDRSTRLEN] = "";
      const in_addr where{address};
      inet_ntop(AF_INET, &where, text, sizeof text);
      const auto name = names.find(text);
      return name == names.end() ? Answer{} : Answer{Outcome::Found, name->second};
    }
    const std::map<std::string, std::string> names;
    std::atomic<int> asked{0};
  };

  std::shared_ptr<Source> source_;
  std::shared_ptr<platform::NameSource> before_;
};

}  // namespace sifterra
