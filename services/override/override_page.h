// override_page: the pages that the service shows, in the languages and the look of the block page.
#pragma once

#include <chrono>
#include <string>

#include "allow_site.h"

namespace sifterra::override_service {

// What a page says besides its form.
enum class Notice { None, Wrong, Locked, Expired };

struct ConfirmationPage {
  std::string user;   // who asks
  std::string url;    // for what
  std::string title;  // what the page calls itself; may be empty
  std::string token;
  std::string name;  // what was typed before
  Scope scope = Scope::Site;
  Notice notice = Notice::None;
  std::chrono::minutes wait{0};  // with Notice::Locked
};

// Pages without a form: "not_allowed", "bad", "failed" name the texts.
enum class Message { NotAllowed, Bad, Expired, Failed };

// HTML in the localization ("English", "de", "zh-Hans"); English where there is none of that name. Whatever
// comes from outside is escaped; `nonce` allows the page's one style element.
[[nodiscard]] std::string confirmationPage(const ConfirmationPage& page, const std::string& localization,
                                           const std::string& nonce);
[[nodiscard]] std::string messagePage(Message message, const std::string& localization,
                                      const std::string& nonce);

// Text as it may stand in HTML, in element content and in quoted attributes.
[[nodiscard]] std::string escaped(const std::string& text);

// The block page's language for the user.
[[nodiscard]] std::string localizationOf(const std::string& user);

}  // namespace sifterra::override_service
