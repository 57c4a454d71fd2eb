// Verdict: what became of a request, for the answer, the log and the counters.
#pragma once

#include <cstdint>
#include <string>

namespace sifterra::icap {

// Why a verdict came about. The first ones are the library's evidence codes, see WFVerdict.h; the others are
// of the service.
struct Verdict {
  enum Reason : int {
    Classified = 0,
    NothingToClassify = 2,
    SelfRestricted = 3,
    TooLittleContent = 5,
    Frameset = 6,
    ShortRefresh = 7,
    Listed = 8,
    NotListed = 9,
    AlwaysAllowHTTPS = 10,
    NoPage = 100,       // a body that cannot be a page, or none at all
    UnknownUser = 101,  // answered as configured, like those that follow
    BrokenPolicy = 102,
    Undecodable = 103,
    OverLimit = 104,
    LeftToResponse = 105,  // a request whose address decides nothing
    PartOfPage = 106       // less than a page, which cannot be judged by it
  };

  bool refused = false;
  int reason = NoPage;
  std::string words;  // the score line of a classified page, else the library's or the service's words
};

// "classified", "deny-or-allow-list", ...: the reason as a word for metrics.
[[nodiscard]] const char* reasonName(int reason);

}  // namespace sifterra::icap
