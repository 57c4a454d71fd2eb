#include "judgement.h"

#include <algorithm>
#include <ctime>

#include "sifterra/judge/WFJudge.h"
#include "sifterra/page/decodePage.h"

namespace sifterra::icap {
namespace {

using platform::String;

Verdict fromLibrary(const WFVerdict& verdict) {
  const auto& scores = verdict.LSMEvaluationResult();
  return {verdict.restricted(), verdict.evidence(),
          (scores ? scores->debugDescription() : verdict.message()).toUTF8()};
}

// The map was there at the start and stays in memory, so this happens to nobody; a page without a judge must
// not pass all the same.
Verdict withoutJudge() {
  return {true, Verdict::OverLimit, "no judge"};
}

}  // namespace

const char* reasonName(int reason) {
  switch (reason) {
    case Verdict::Classified:
      return "classified";
    case Verdict::NothingToClassify:
      return "nothing_to_classify";
    case Verdict::SelfRestricted:
      return "self_restricted";
    case Verdict::TooLittleContent:
      return "too_little_content";
    case Verdict::Frameset:
      return "frameset";
    case Verdict::ShortRefresh:
      return "short_refresh";
    case Verdict::Listed:
      return "listed";
    case Verdict::NotListed:
      return "not_listed";
    case Verdict::AlwaysAllowHTTPS:
      return "always_allow_https";
    case Verdict::NoPage:
      return "no_page";
    case Verdict::UnknownUser:
      return "unknown_user";
    case Verdict::BrokenPolicy:
      return "broken_policy";
    case Verdict::Undecodable:
      return "undecodable";
    case Verdict::OverLimit:
      return "over_limit";
    case Verdict::PartOfPage:
      return "part_of_page";
    case Verdict::LeftToResponse:
      return "left_to_response";
    default:
      return "other";
  }
}

std::optional<Verdict> judgeAddress(const std::string& url,
                                    const std::shared_ptr<const WFWhitelistUserPreferences>& preferences) {
  if (!preferences) return std::nullopt;
  const auto judge = WFJudge::defaultJudge();
  if (!judge) return withoutJudge();
  // Without content the judge asks the lists alone, and says so when they leave it open.
  const auto verdict =
      judge->pronounceOnPageContent(String(), String::fromUTF8(url), preferences, nullptr, nullptr);
  if (verdict->evidence() == kWFEvidenceNothingToClassify) return std::nullopt;
  return fromLibrary(*verdict);
}

std::optional<Verdict> judgePage(const PageQuestion& question, String* title) {
  const auto judge = WFJudge::defaultJudge();
  if (!judge) return withoutJudge();
  if (question.timeLeft <= std::chrono::nanoseconds::zero()) return std::nullopt;
  const auto begun = threadTime();
  const String charset = question.charset.empty() ? String() : String::fromUTF8(question.charset);
  const String text = decodePage(question.bytes, charset);
  // The parser cannot be stopped: this is the last look at the clock.
  if (threadTime() - begun > question.timeLeft) return std::nullopt;
  if (question.readings) {
    std::vector<String>& readings = *question.readings;
    if (std::find(readings.begin(), readings.end(), text) != readings.end())
      return Verdict{false, Verdict::Classified, {}};
    readings.push_back(text);
  }
  return fromLibrary(*judge->pronounceOnPageContent(text, String::fromUTF8(question.url),
                                                    question.preferences, nullptr, title));
}

std::chrono::nanoseconds threadTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace sifterra::icap
