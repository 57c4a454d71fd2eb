// IcapTransactionFuzz: whatever headers and bodies come, a decision does not depend on the pieces in which
// the body arrives, a body that passes comes back byte for byte, and nothing of it all gets out of a header
// or a log field.
//
// An input: a byte for the size of the pieces, one for kinds, ten lines of headers, and the body.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "Counters.h"
#include "Service.h"
#include "Transaction.h"
#include "sifterra/sifterra.h"

using namespace sifterra::icap;

namespace {

using Step = Transaction::Step;

constexpr unsigned kIsRequest = 1;
constexpr unsigned kHasNoBody = 2;
constexpr unsigned kJudgesUnknown = 4;
constexpr unsigned kIsPartial = 8;

void require(bool condition) {
  if (!condition) std::abort();
}

Service& service(bool closed) {
  static const auto made = [] {
    WFSetLogLevel(WFLogLevelOff);
    std::array<std::unique_ptr<Service>, 2> services;
    static Counters counters;
    for (const bool one : {false, true}) {
      Settings settings;
      settings.root = std::filesystem::temp_directory_path() / "sifterra-icap-fuzz-without-policies";
      settings.textLimit = 2048;
      settings.budget = std::chrono::hours(1);  // what is slow must not differ from what is not
      settings.logURL = true;
      settings.unknownUser = one ? Answer::Closed : Answer::Content;
      services[one] = std::make_unique<Service>(settings, &counters, [](const std::string&) {});
      require(services[one]->start().empty());
    }
    return services;
  }();
  return *made[closed];
}

std::string_view takeLine(std::string_view* input) {
  const std::size_t end = input->find('\n');
  const std::string_view line = input->substr(0, end);
  *input = end == std::string_view::npos ? std::string_view() : input->substr(end + 1);
  return line;
}

bool isPlain(std::string_view line) {
  return std::none_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

struct Outcome {
  Step step;
  bool refused;
  int reason;
  std::string words;
  std::string output;
};

Outcome outcomeOf(const HttpMessage& message, std::string_view body, std::size_t piece, bool closed) {
  Transaction transaction(service(closed));
  transaction.begin(message);
  std::string_view rest = body;
  while (transaction.step() == Step::More && !rest.empty()) {
    const std::size_t count = std::min(piece, rest.size());
    transaction.add(rest.substr(0, count), false);
    rest.remove_prefix(count);
  }
  if (transaction.step() == Step::More) transaction.add({}, true);
  require(transaction.step() != Step::More);
  const std::string line = transaction.logLine();
  require(isPlain(line) && std::count(line.begin(), line.end(), '"') % 2 == 0);
  // What was sent before the decision comes out of the transaction, the rest goes through it.
  std::string output;
  std::array<char, 100> buffer{};
  for (;;) {
    const std::size_t taken = transaction.step() == Step::Pass ? transaction.relay(rest.substr(0, piece)) : 0;
    rest.remove_prefix(taken);
    const std::size_t count = transaction.takeOutput(buffer.data(), buffer.size());
    output.append(buffer.data(), count);
    if (count == 0 && taken == 0) break;
  }
  if (transaction.step() == Step::Refuse) {
    for (const std::string& header : transaction.refusal().headers) require(isPlain(header));
    require(output == transaction.refusal().body);
  }
  return {transaction.step(), transaction.verdict().refused, transaction.verdict().reason,
          transaction.verdict().words, output};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 16384) return 0;
  const std::size_t piece = data[0] + std::size_t{1};
  const unsigned kinds = data[1];
  std::string_view input(reinterpret_cast<const char*>(data) + 2, size - 2);
  HttpMessage message;
  message.kind = (kinds & kIsRequest) != 0 ? HttpMessage::Kind::Request : HttpMessage::Kind::Response;
  message.hasBody = (kinds & kHasNoBody) == 0;
  message.requestLine = takeLine(&input);
  message.host = takeLine(&input);
  message.clientUsername = takeLine(&input);
  message.authenticatedUser = takeLine(&input);
  message.clientAddress = takeLine(&input);
  message.accept = takeLine(&input);
  message.fetchDestination = takeLine(&input);
  for (int i = 0; i < 2; ++i)
    if (const auto type = takeLine(&input); !type.empty()) message.contentTypes.push_back(type);
  if (const auto coding = takeLine(&input); !coding.empty()) message.contentEncodings.push_back(coding);

  if ((kinds & kIsPartial) != 0) {
    message.statusLine = "HTTP/1.1 206 Partial Content";
    message.contentRanges.push_back(takeLine(&input));
  }

  const bool closed = (kinds & kJudgesUnknown) != 0;
  const std::string_view body = message.hasBody ? input : std::string_view();
  const Outcome pieces = outcomeOf(message, body, piece, closed);
  const Outcome whole = outcomeOf(message, body, std::max<std::size_t>(body.size(), 1), closed);
  require(pieces.step == whole.step && pieces.refused == whole.refused && pieces.reason == whole.reason);
  if (pieces.step == Step::Pass) require(pieces.output == body && whole.output == body);
  return 0;
}
