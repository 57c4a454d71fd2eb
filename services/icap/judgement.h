// judgement: the library's questions, asked for one page.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "PolicyBook.h"
#include "Verdict.h"
#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"

namespace sifterra::icap {

// What the address and the user's policy decide; nothing when the content must be looked at. preferences:
// null for what is judged by its content alone.
[[nodiscard]] std::optional<Verdict> judgeAddress(
    const std::string& url, const std::shared_ptr<const WFWhitelistUserPreferences>& preferences);

// What the page itself decides. Nothing when the time is up before it has been judged; title: of the page.
struct PageQuestion {
  platform::Data bytes;
  std::string charset;  // of the header; may be empty
  std::string url;
  std::shared_ptr<const WFWhitelistUserPreferences> preferences;
  std::chrono::nanoseconds timeLeft;
  // What the page was read as before, to no refusal: read so once more it is allowed without another look,
  // else the reading is added. Null: none.
  std::vector<platform::String>* readings = nullptr;
};
[[nodiscard]] std::optional<Verdict> judgePage(const PageQuestion& question, platform::String* title);

// The processor time that the thread has used.
[[nodiscard]] std::chrono::nanoseconds threadTime();

}  // namespace sifterra::icap
