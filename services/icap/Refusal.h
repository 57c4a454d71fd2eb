// Refusal: the HTTP response in place of what was refused.
//
// A page gets the library's block page; what a page embeds gets an empty body of its type, so that nothing is
// drawn or run that nobody asked for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "HttpMessage.h"
#include "PolicyBook.h"
#include "Settings.h"
#include "sifterra/platform/String.h"

namespace sifterra::icap {

struct Refusal {
  std::vector<std::string> headers;  // the status line first, each without its end
  std::string body;                  // empty for HEAD, whose Content-Length tells it all the same
};

// Where the browser puts what it asks for.
enum class Destination { Page, Frame, Image, Script, Style, Font, Video, Audio, Data };
[[nodiscard]] Destination destinationOf(const HttpMessage& message, std::string_view url);
// Whether the browser says that it shows what it asks for, in a window or in a frame, rather than put it to
// use.
[[nodiscard]] bool isToBeShown(const HttpMessage& message);

// The languages of an Accept-Language header, most wanted first.
[[nodiscard]] std::vector<std::string> languagesOf(std::string_view acceptLanguage);

struct RefusalQuestion {
  const HttpMessage* message = nullptr;
  std::string url;
  std::string user;  // empty when nobody is known
  Policy policy;
  platform::String title;  // of the refused page; may be null
};
[[nodiscard]] Refusal refusalFor(const RefusalQuestion& question, const Settings& settings);

}  // namespace sifterra::icap
