// Transaction: one request of a proxy, from its headers to the last byte of the answer.
//
//   Transaction transaction(service);
//   Transaction::Step step = transaction.begin(message);
//   while (step == Transaction::Step::More) step = transaction.add(chunk(), isLast());
//   if (step == Transaction::Step::Refuse) answer(transaction.refusal());
//
// What was added is kept until the decision, at most kMostHeld of it; after a decision to pass it can be read
// back in front of what is added then, for proxies that have not kept it themselves.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BodyDecoder.h"
#include "HttpMessage.h"
#include "PolicyBook.h"
#include "Refusal.h"
#include "Service.h"
#include "Verdict.h"
#include "body_type.h"
#include "sifterra/platform/Data.h"

namespace sifterra::icap {

class Transaction {
 public:
  enum class Step {
    More,   // the body is wanted, to decide
    Pass,   // let it through
    Refuse  // send refusal()
  };

  explicit Transaction(Service& service) : service_(service) {}

  // message: lasts as long as the headers it looks at, which must be until the decision.
  Step begin(HttpMessage message);
  // The next bytes of the body, and whether they are the last ones. Before the decision.
  Step add(std::string_view bytes, bool last);

  [[nodiscard]] Step step() const noexcept { return step_; }
  // Of a decision.
  [[nodiscard]] const Verdict& verdict() const noexcept { return verdict_; }
  // After a decision to refuse.
  [[nodiscard]] const Refusal& refusal() const noexcept { return refusal_; }
  // The line for the access log: user, verdict, evidence, score line, and the address where that is wanted.
  [[nodiscard]] std::string logLine() const;

  // What is to be sent: after Pass the body, after Refuse the refusal's.
  // Adds bytes of the body after a decision to pass; how many of them were taken.
  [[nodiscard]] std::size_t relay(std::string_view bytes);
  // Takes at most that many bytes.
  [[nodiscard]] std::size_t takeOutput(char* out, std::size_t size);

 private:
  Step pass(Verdict verdict);
  Step refuse(Verdict verdict);
  Step decide(Verdict verdict) {
    return verdict.refused ? refuse(std::move(verdict)) : pass(std::move(verdict));
  }
  Step answer(Answer answer, int reason, std::string words);
  Step refusePart();
  [[nodiscard]] std::optional<Step> decideWithoutContent();
  Step beginBody();
  Step judge();
  void hold(std::string_view bytes);

  [[nodiscard]] std::string_view text() const;
  [[nodiscard]] std::size_t textLimit() const;
  [[nodiscard]] std::size_t textLimit(std::string_view charset) const;
  [[nodiscard]] std::vector<std::size_t> judgedLengths() const;

  Service& service_;
  HttpMessage message_;
  std::string url_;
  std::string user_;
  Policy policy_;
  Step step_ = Step::More;
  Verdict verdict_;
  Refusal refusal_;
  platform::String title_;

  BodyType type_ = BodyType::Unnamed;
  bool isPart_ = false;  // less than what lies at the address
  bool knownPage_ = false;
  bool complete_ = false;                 // nothing of the body is missing, or nothing more can be read of it
  std::vector<std::string> charsets_;     // to judge by
  std::unique_ptr<BodyDecoder> decoder_;  // null for bodies as they are
  std::chrono::nanoseconds worked_{0};
  std::string held_;           // of the body, before the decision and after it
  platform::Data judgedBody_;  // what held_ was at the decision, where the judge still shares it
  std::size_t sent_ = 0;       // of judgedBody_, then of held_
};

}  // namespace sifterra::icap
