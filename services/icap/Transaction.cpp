#include "Transaction.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "ascii_text.h"
#include "judgement.h"
#include "page_parts.h"
#include "text_cut.h"

namespace sifterra::icap {
namespace {

constexpr std::size_t kRelayed = std::size_t{64} << 10;  // waiting to be sent, of a body that passes
constexpr std::size_t kHeldBeyondText = std::size_t{64} << 10;
constexpr std::size_t kChunk = 4096;  // what the server hands over at once, at most

// Believed before anything that the headers say.
bool hasByteOrderMark(std::string_view page) {
  return page.starts_with("\xEF\xBB\xBF") || page.starts_with("\xFE\xFF") || page.starts_with("\xFF\xFE");
}

// A place among the judgements that run at once.
class Place {
 public:
  explicit Place(std::counting_semaphore<>& places) : places_(places) { places_.acquire(); }
  ~Place() { places_.release(); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

 private:
  std::counting_semaphore<>& places_;
};

// What ends a line or a field, or makes a terminal show something else than what is there.
bool isOdd(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == u'"' || c == u'\\' || c == 0x061C || c == 0x200E ||
         c == 0x200F || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF ||
         c == 0xFFFD;
}

// Of a name or an address, for a field of a log.
std::string quoted(std::string_view text) {
  std::u16string field;
  const platform::String units = platform::String::fromUTF8Lossy(text);
  for (const char16_t c : units.view()) field += isOdd(c) ? u'?' : c;
  return "\"" + platform::String(std::move(field)).toUTF8() + "\"";
}

}  // namespace

Transaction::Step Transaction::pass(Verdict verdict) {
  verdict_ = std::move(verdict);
  service_.counters().addVerdict(verdict_);
  decoder_.reset();
  return step_ = Step::Pass;
}

Transaction::Step Transaction::refuse(Verdict verdict) {
  verdict_ = std::move(verdict);
  verdict_.refused = true;
  service_.counters().addVerdict(verdict_);
  decoder_.reset();
  held_ = std::string();
  judgedBody_ = nullptr;
  refusal_ = refusalFor({&message_, url_, user_, policy_, title_}, service_.settings());
  return step_ = Step::Refuse;
}

// Answer::Content is settled before.
Transaction::Step Transaction::answer(Answer answer, int reason, std::string words) {
  return decide({answer != Answer::Open, reason, std::move(words)});
}

Transaction::Step Transaction::refusePart() {
  return refuse({true, Verdict::PartOfPage, "a part of a page"});
}

Transaction::Step Transaction::begin(HttpMessage message) {
  message_ = std::move(message);
  url_ = message_.url();
  user_ = service_.userOf(message_);
  policy_ = service_.policyOf(user_);
  if (const std::optional<Step> step = decideWithoutContent()) return *step;
  if (message_.kind == HttpMessage::Kind::Request)
    return pass({false, Verdict::LeftToResponse, "left to the response"});
  if (!message_.hasBody) return pass({false, Verdict::NoPage, "no body"});
  return beginBody();
}

std::optional<Transaction::Step> Transaction::decideWithoutContent() {
  const Settings& settings = service_.settings();
  if (policy_.state == Policy::State::Unknown && settings.unknownUser != Answer::Content)
    return answer(settings.unknownUser, Verdict::UnknownUser, "unknown user");
  if (policy_.state == Policy::State::Broken && settings.brokenPolicy != Answer::Content)
    return answer(settings.brokenPolicy, Verdict::BrokenPolicy, "broken policy");
  if (message_.method() == "CONNECT" && !settings.judgeConnect)
    return pass({false, Verdict::LeftToResponse, "left to what comes through the tunnel"});
  if (std::optional<Verdict> verdict = judgeAddress(url_, policy_.preferences))
    return decide(std::move(*verdict));
  return std::nullopt;
}

Transaction::Step Transaction::beginBody() {
  type_ = BodyType::Other;
  if (message_.contentTypes.empty()) type_ = BodyType::Unnamed;
  for (const std::string_view value : message_.contentTypes) type_ = stricter(type_, bodyType(value));
  charsets_ = charsetsOf(message_.contentTypes);
  // What a window shows may be text whatever its type says; in an image or a script nobody reads it.
  if (type_ == BodyType::Other && isToBeShown(message_)) type_ = BodyType::Unnamed;
  knownPage_ = type_ == BodyType::Page;
  // Parts that are small enough say nothing each: what is put together of them would pass unjudged.
  isPart_ = isPart(message_) && service_.settings().overLimit == Answer::Closed;
  if (isPart_ && (knownPage_ || isOfParts(message_))) return refusePart();

  if (std::any_of(message_.contentTypes.begin(), message_.contentTypes.end(), isSignedExchange)) {
    service_.counters().add(Count::DecodeFailures, 1);
    return answer(service_.settings().undecodable, Verdict::Undecodable, "a signed exchange");
  }

  std::vector<Coding> codings;
  const bool known = std::all_of(message_.contentEncodings.begin(), message_.contentEncodings.end(),
                                 [&](std::string_view value) { return addCodings(value, &codings); });
  if (!known) {
    if (type_ == BodyType::Other) return pass({false, Verdict::NoPage, "no page"});
    service_.counters().add(Count::DecodeFailures, 1);
    return answer(service_.settings().undecodable, Verdict::Undecodable, "unknown content coding");
  }
  if (!codings.empty())
    decoder_ = std::make_unique<BodyDecoder>(codings, 2 * service_.settings().textLimit + 2);
  return step_ = Step::More;
}

std::string_view Transaction::text() const {
  return decoder_ ? std::string_view(decoder_->text()) : std::string_view(held_);
}

// The limit is one of text: UTF-16 spells most of it with two bytes where others need one.
std::size_t Transaction::textLimit(std::string_view charset) const {
  const std::size_t limit = service_.settings().textLimit;
  return isUtf16(charsetForCutting(text().substr(0, 3), charset)) ? 2 * limit : limit;
}

std::size_t Transaction::textLimit() const {
  std::size_t limit = 0;
  for (const std::string& charset : charsets_) limit = std::max(limit, textLimit(charset));
  return limit;
}

// Grows by doubling up to what a page may have, not beyond it: many pages may be waiting at once.
void Transaction::hold(std::string_view bytes) {
  const std::size_t length = held_.size() + bytes.size();
  if (length > held_.capacity()) {
    const std::size_t most = service_.settings().textLimit + kChunk;
    held_.reserve(std::max(length, std::min(2 * held_.capacity(), most)));
  }
  held_.append(bytes);
}

Transaction::Step Transaction::add(std::string_view bytes, bool last) {
  if (step_ != Step::More) return step_;
  service_.counters().add(Count::BodyBytes, bytes.size());
  hold(bytes);
  BodyDecoder::State state = BodyDecoder::State::Open;
  if (decoder_) {
    const auto begun = threadTime();
    decoder_->write(bytes);
    state = last ? decoder_->finish() : decoder_->state();
    worked_ += threadTime() - begun;
  }
  const bool complete = last || state != BodyDecoder::State::Open;
  const bool full =
      text().size() >= textLimit() || held_.size() > 2 * service_.settings().textLimit + kHeldBeyondText;
  if (!knownPage_) {
    const bool enough = text().size() >= kSniffedBytes;
    if (!complete && !full && !enough) return Step::More;
    // Of a body that nobody names, what its coding hides may be a page: the answer is that of one.
    const bool hidden = type_ == BodyType::Unnamed && !enough &&
                        ((state == BodyDecoder::State::Damaged && text().empty()) || !complete);
    if (!hidden && !isPage(type_, text())) return pass({false, Verdict::NoPage, "no page"});
    knownPage_ = true;
    if (isPart_) return refusePart();
  }
  if (!complete && !full) return Step::More;
  complete_ = complete;
  return judge();
}

// How much of the text is judged, for each of the charsets.
std::vector<std::size_t> Transaction::judgedLengths() const {
  std::vector<std::size_t> lengths;
  for (const std::string& charset : charsets_) {
    const std::size_t limit = textLimit(charset);
    // Of a text that just fills the limit the last character may go on in what is not here yet.
    const std::size_t most = complete_ || text().size() > limit ? limit : limit - 1;
    lengths.push_back(cutAtCharacter(text(), most, charsetForCutting(text(), charset)));
  }
  return lengths;
}

Transaction::Step Transaction::judge() {
  const Settings& settings = service_.settings();
  const BodyDecoder::State state = decoder_ ? decoder_->state() : BodyDecoder::State::Open;
  const bool damaged = state == BodyDecoder::State::Damaged;
  const bool excessive =
      state == BodyDecoder::State::Excessive ||
      (decoder_ && text().size() <= textLimit() && held_.size() > 2 * settings.textLimit + kHeldBeyondText);
  if (damaged) service_.counters().add(Count::DecodeFailures, 1);

  // The mark of a page speaks for every charset that its headers name.
  if (hasByteOrderMark(text())) charsets_.resize(1);
  const std::vector<std::size_t> lengths = judgedLengths();
  platform::Data page(decoder_ ? decoder_->takeText() : std::move(held_));
  if (!decoder_) {
    judgedBody_ = page;
    held_ = std::string();
  }

  // By the charset that counts; by the others as well where not all browsers may agree on it.
  // Of most pages the others make the same text.
  std::optional<Verdict> verdict;
  std::vector<platform::String> readings;
  const auto begun = threadTime();
  for (std::size_t i = 0; i < charsets_.size() && !(verdict && verdict->refused); ++i) {
    const auto left =
        settings.budget - worked_ - (i == 0 ? std::chrono::nanoseconds(0) : threadTime() - begun);
    std::optional<Verdict> found;
    try {
      const Place place(service_.judgements());
      const auto start = std::chrono::steady_clock::now();
      const std::size_t before = readings.size();
      found = judgePage({page.slice(0, lengths[i]), charsets_[i], url_, policy_.preferences, left,
                         charsets_.size() > 1 ? &readings : nullptr},
                        &title_);
      if (found && (i == 0 || readings.size() > before))
        service_.counters().addJudgement(std::chrono::steady_clock::now() - start);
    } catch (const std::bad_alloc&) {
      return answer(settings.overLimit, Verdict::OverLimit, "out of memory");
    }
    if (!found) return answer(settings.overLimit, Verdict::OverLimit, "out of time");
    if (!verdict || found->refused) verdict = std::move(found);
  }
  service_.counters().add(Count::JudgedBytes, lengths[0]);
  if (!verdict->refused && charsets_.size() > kMostCharsets)
    return answer(settings.overLimit, Verdict::OverLimit, "too many charsets");
  // Of a body that cannot be read to its end the part that can be may refuse it, and not more.
  if (!verdict->refused && damaged)
    return answer(settings.undecodable, Verdict::Undecodable, "damaged content coding");
  if (!verdict->refused && excessive)
    return answer(settings.overLimit, Verdict::OverLimit, "too much for a page");
  return decide(std::move(*verdict));
}

std::string Transaction::logLine() const {
  std::string line = "user=" + (user_.empty() ? std::string("-") : quoted(user_));
  line += verdict_.refused ? " verdict=refused" : " verdict=allowed";
  line +=
      std::string(" evidence=") + std::to_string(verdict_.reason) + " reason=" + reasonName(verdict_.reason);
  line += " score=" + quoted(verdict_.words);
  if (service_.settings().logURL) line += " url=" + quoted(url_);
  return line;
}

std::size_t Transaction::relay(std::string_view bytes) {
  if (step_ == Step::Pass) {
    // What was sent goes in steps: a proxy that is quicker at sending than at reading always has some
    // waiting.
    const std::size_t gone = judgedBody_ ? 0 : sent_;
    if (gone > 0 && (gone == held_.size() || gone >= kRelayed)) {
      held_.erase(0, gone);
      sent_ = 0;
    }
    const std::size_t waiting = held_.size() - (judgedBody_ ? 0 : sent_);
    if (waiting >= kRelayed) return 0;
    held_.append(bytes);
  }
  service_.counters().add(Count::BodyBytes, bytes.size());
  return bytes.size();
}

std::size_t Transaction::takeOutput(char* out, std::size_t size) {
  const auto take = [&](std::string_view from) {
    const std::size_t count = std::min(size, from.size() - sent_);
    std::memcpy(out, from.data() + sent_, count);
    sent_ += count;
    return count;
  };
  if (step_ == Step::Refuse) return take(refusal_.body);
  if (judgedBody_) {
    const std::size_t count = take(judgedBody_.chars());
    if (count > 0) return count;
    judgedBody_ = nullptr;
    sent_ = 0;
  }
  return take(held_);
}

}  // namespace sifterra::icap
