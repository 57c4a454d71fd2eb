// Streaming evaluator: however a body is cut into chunks, what is passed on and the state at the end are
// those of the body in one chunk, and while it is buffering not one byte is passed on.
//
// Input: the user, how often the page is repeated (to cross the sample's size), eight chunk sizes, the page.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "blockpage/EvaluatorFixture.h"
#include "platform/Log.h"

namespace {

using namespace sifterra;

constexpr std::size_t kSizes = 8;
constexpr std::size_t kMostBytes = std::size_t{3} * 32768;  // of a body: a verdict takes time

void check(bool holds) {
  if (!holds) std::abort();
}

struct Outcome {
  std::string passedOn;
  long state = 0;
  friend bool operator==(const Outcome&, const Outcome&) = default;
};

// What the client of the interface does: adds while more is wanted, completes, then passes on or drops the
// rest.
Outcome streamed(const std::string& body, const std::uint8_t* sizes) {
  WebFilterEvaluator evaluator({urlFrom(u"http://allowed.example.com/")}, platform::String());
  Outcome outcome;
  std::size_t at = 0;
  for (std::size_t i = 0; at < body.size() && evaluator.filterState() == WebFilterStateBuffering; ++i) {
    // Sizes grow with the square, so that few bytes tell of large chunks too; a body ends.
    const std::size_t size =
        sizes ? std::size_t{sizes[i % kSizes]} * sizes[i % kSizes] + (i >= 64) : body.size();
    const platform::Data chunk(body.substr(at, size));
    at += chunk.length();
    const platform::Data bytes = evaluator.addData(chunk);
    check(!bytes.isNull());
    if (evaluator.filterState() == WebFilterStateBuffering) check(bytes.length() == 0);
    outcome.passedOn += bytes.chars();
  }
  if (evaluator.filterState() == WebFilterStateBuffering)
    outcome.passedOn += evaluator.dataComplete().chars();
  if (!evaluator.wasBlocked()) outcome.passedOn += body.substr(at);
  outcome.state = evaluator.filterState();
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static EvaluatorFixture fixture;  // removes its files at exit
  platform::Logger::setLevel(platform::LogLevel::Off);
  static const platform::String users[] = {platform::String(u"filtered"), platform::String(u"strict"),
                                           platform::String(u"listed"), platform::String(u"shut"),
                                           platform::String(u"free")};
  if (size < 2 + kSizes) return 0;
  fixture.users.currentUser = users[data[0] % std::size(users)];
  const std::string page(reinterpret_cast<const char*>(data) + 2 + kSizes, size - 2 - kSizes);
  std::string body;
  for (int i = 0; i <= data[1] && body.size() < kMostBytes; ++i) body += page;
  body.resize(std::min(body.size(), kMostBytes));

  const Outcome whole = streamed(body, nullptr);
  check(streamed(body, data + 2) == whole);
  check(whole.state == WebFilterStateAllowed || whole.state == WebFilterStateBlocked);
  if (whole.state == WebFilterStateAllowed) check(whole.passedOn == body);
  if (whole.state == WebFilterStateBlocked) check(whole.passedOn.find("blockpage") == 0);
  return 0;
}
