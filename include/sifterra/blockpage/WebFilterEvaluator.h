// WebFilterEvaluator: decides about one response while it arrives.
//
//   const auto evaluator = WebFilterEvaluator::createWithResponse({url});
//   if (!evaluator) return passOnUnfiltered();
//   while (evaluator->filterState() == WebFilterStateBuffering)
//     passOn(more() ? evaluator->addData(chunk()) : evaluator->dataComplete());
//   if (!evaluator->wasBlocked()) passOnTheRest();
//
// Holds the body back until 32768 bytes are there or it is complete, judges those for the user, and hands
// back all of it or a block page. How a body is cut into chunks changes nothing. Once the state has left
// WebFilterStateBuffering nothing more is to be added: what is added all the same is judged and handed back
// again together with all that came before.
//
// Made for the user whose process this is; the forms that name a user are for services, which load pages on
// behalf of others. One object is used by one thread at a time; different ones by any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "sifterra/platform/Data.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"
#include "sifterra/sifterra.h"

namespace sifterra {

// What an evaluator must know of a response.
struct WebFilterResponse {
  platform::URL URL;
};

class WF_API WebFilterEvaluator {
 public:
  static constexpr std::size_t kSampleBytes =
      32768;                                   // at most so many are judged, wherever that cuts a character
  static constexpr int kOverridePort = 10011;  // where the block page's form is sent, on this machine

  // Whether web restrictions are in force for the current user.
  [[nodiscard]] static bool isManagedSession();

  // An evaluator, or null when no restrictions are in force: the page is then loaded unfiltered. The first
  // one of the process tells the filter of the machine to filter secure connections, too.
  [[nodiscard]] static std::shared_ptr<WebFilterEvaluator> createWithResponse(
      const WebFilterResponse& response);
  // The same for a named user; the filter of the machine is left alone.
  [[nodiscard]] static std::shared_ptr<WebFilterEvaluator> createWithResponse(
      const WebFilterResponse& response, const platform::String& forUser);

  // initWithResponse: does not ask whether restrictions are in force.
  explicit WebFilterEvaluator(const WebFilterResponse& response);
  WebFilterEvaluator(const WebFilterResponse& response, const platform::String& forUser);

  // The bytes to pass on now: none while more are wanted, then the body so far or the block page. Null when
  // there should be a block page and none can be made. Null data completes the body.
  [[nodiscard]] platform::Data addData(const platform::Data& data);
  [[nodiscard]] platform::Data dataComplete() { return addData(nullptr); }

  // A WebFilterState.
  [[nodiscard]] long filterState() const noexcept { return _filterState; }
  [[nodiscard]] bool wasBlocked() const noexcept { return _filterState == WebFilterStateBlocked; }

  // The block page as UTF-8; null when there is no such user to make it for.
  [[nodiscard]] platform::Data blockPageForPageWithTitle(const platform::String& title,
                                                         const platform::URL& origURL) const;

 private:
  // The bytes received and not yet given up. Grows by what arrives, not by doubling; once handed out it is
  // shared with whoever got it, and copied if it has to grow after all.
  class Buffer {
   public:
    void append(const platform::Data& data);
    void clear() noexcept;
    [[nodiscard]] std::size_t length() const noexcept { return shared_ ? shared_.length() : growing_.size(); }
    [[nodiscard]] platform::Data data();  // never null

   private:
    std::string growing_;
    platform::Data shared_;  // in place of growing_, unless null
  };

  [[nodiscard]] platform::String userName() const;

  long _filterState = WebFilterStateBuffering;
  Buffer _buffer;
  platform::URL _url;
  platform::String _user;  // null: the current one, asked for each time
};

}  // namespace sifterra
