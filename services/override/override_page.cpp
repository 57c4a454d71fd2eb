// The texts are compiled in (override_texts.h is made from resources/override/texts): a page about passwords
// depends on no file that could be missing or changed.
#include "override_page.h"

#include <nlohmann/json.hpp>

#include "override_texts.h"
#include "sifterra/blockpage/WFBlockPage.h"

namespace sifterra::override_service {
namespace {

using Json = nlohmann::json;
using platform::String;

const Json& textsOf(const std::string& localization) {
  static const Json all = Json::parse(kOverrideTexts);
  const auto found = all.find(localization);
  return found == all.end() ? all.at("English") : *found;
}

// The text with the one placeholder that it may hold filled in and all of it escaped.
std::string text(const Json& texts, const char* key, const std::string& placeholder = {},
                 const std::string& value = {}) {
  std::string words = texts.at(key).get<std::string>();
  const std::size_t at = placeholder.empty() ? std::string::npos : words.find(placeholder);
  if (at == std::string::npos) return escaped(words);
  // Kept apart from the words around it, whichever way either is written.
  return escaped(words.substr(0, at)) + "<bdi>" + escaped(value) + "</bdi>" +
         escaped(words.substr(at + placeholder.size()));
}

std::string frame(const Json& texts, const char* heading, const std::string& content,
                  const std::string& nonce) {
  const std::string title = text(texts, heading);
  return "<!DOCTYPE html>\n<html lang=\"" + text(texts, "language") + "\" dir=\"" + text(texts, "direction") +
         "\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<meta name=\"robots\" "
         "content=\"noindex\">\n<title>" +
         title + "</title>\n<link rel=\"icon\" href=\"data:,\">\n<style nonce=\"" + nonce + "\">\n" +
         kBlockPageStyle + kOverrideStyle +
         "</style>\n</head>\n<body>\n<main aria-labelledby=\"heading\">\n"
         "<h1 id=\"heading\">" +
         title + "</h1>\n" + content + "</main>\n</body>\n</html>\n";
}

std::string noticeText(const Json& texts, const ConfirmationPage& page) {
  switch (page.notice) {
    case Notice::None:
      return {};
    case Notice::Wrong:
      return "<p class=\"notice\" role=\"alert\">" + text(texts, "wrong") + "</p>\n";
    case Notice::Locked:
      return "<p class=\"notice\" role=\"alert\">" +
             text(texts, "locked", "{minutes}", std::to_string(page.wait.count())) + "</p>\n";
    case Notice::Expired:
      return "<p class=\"notice\" role=\"alert\">" + text(texts, "expired") + "</p>\n";
  }
  return {};
}

std::string choice(const std::string& value, const std::string& label, bool chosen) {
  return "<label class=\"choice\"><input type=\"radio\" name=\"scope\" value=\"" + value + "\"" +
         (chosen ? " checked" : "") + "> <span>" + label + "</span></label>\n";
}

}  // namespace

std::string escaped(const std::string& words) {
  std::string safe;
  for (const char c : words) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      case '\'':
        safe += "&#39;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

std::string localizationOf(const std::string& user) {
  return WFBlockPage(String::fromUTF8(user), false, false).preferredLanguage().toUTF8();
}

std::string confirmationPage(const ConfirmationPage& page, const std::string& localization,
                             const std::string& nonce) {
  const Json& texts = textsOf(localization);
  std::string content = "<p class=\"lead\">" + text(texts, "who", "{user}", page.user) +
                        "</p>\n<p class=\"url\">" + escaped(page.url) + "</p>\n";
  if (!page.title.empty()) {
    content += "<section class=\"address\"><h2>" + text(texts, "page_title_label") + "</h2>\n<p><bdi>" +
               escaped(page.title) + "</bdi></p></section>\n";
  }
  content += "<section class=\"ask\">\n<p>" + text(texts, "explain", "{user}", page.user) + "</p>\n" +
             noticeText(texts, page);
  content +=
      "<form method=\"post\" action=\"/webcontentfilter.override.local/allow\" autocomplete=\"off\">\n"
      "<input type=\"hidden\" name=\"token\" value=\"" +
      escaped(page.token) + "\">\n<fieldset><legend>" + text(texts, "scope_legend") + "</legend>\n" +
      choice("site", text(texts, "scope_site", "{site}", siteName(page.url)), page.scope == Scope::Site) +
      choice("page", text(texts, "scope_page"), page.scope == Scope::Page) + "</fieldset>\n";
  content +=
      "<label for=\"name\">" + text(texts, "name_label") +
      "</label>\n<input class=\"field\" type=\"text\" id=\"name\" name=\"name\" value=\"" +
      escaped(page.name) +
      "\" maxlength=\"256\" autocapitalize=\"off\" autocorrect=\"off\" spellcheck=\"false\" required>\n"
      "<label for=\"password\">" +
      text(texts, "password_label") +
      "</label>\n<input class=\"field\" type=\"password\" id=\"password\" name=\"password\" "
      "maxlength=\"1024\" "
      "autocomplete=\"off\" required>\n<button type=\"submit\">" +
      text(texts, "allow_button") + "</button>\n</form>\n</section>\n";
  return frame(texts, "title", content, nonce);
}

std::string messagePage(Message message, const std::string& localization, const std::string& nonce) {
  const Json& texts = textsOf(localization);
  const auto page = [&](const char* heading, const char* words) {
    return frame(texts, heading, "<p class=\"lead\">" + text(texts, words) + "</p>\n", nonce);
  };
  switch (message) {
    case Message::NotAllowed:
      return page("not_allowed_title", "not_allowed");
    case Message::Expired:
      return page("title", "expired");
    case Message::Failed:
      return page("failed_title", "failed");
    case Message::Bad:
      break;
  }
  return page("bad_title", "bad");
}

}  // namespace sifterra::override_service
