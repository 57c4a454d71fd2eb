#include "judge/evaluate_verdict.h"

#include <gtest/gtest.h>

#include "lsm/LsmEngine.h"

namespace sifterra {
namespace {

using platform::String;

std::shared_ptr<WFVerdict> verdictOf(bool restricted, std::shared_ptr<WFLSMResult> result,
                                     const String& message) {
  return WFVerdict::verdictWithRestriction(restricted, nullptr, 0, std::move(result), message);
}

std::shared_ptr<WFLSMResult> someResult() {
  return WFLSMResult::LSMResultWithLSMResultRef({{{1, 0.19F}, {2, 0.81F}}, true}, 0.62F);
}

TEST(EvaluateVerdict, AClassifiedPageHasItsScoreLine) {
  String message;
  EXPECT_EQ(WFEvaluateVerdict(verdictOf(true, someResult(), String(u"RESTRICTED")), &message), 1);
  EXPECT_EQ(message, String(u"1:0.19    [ 2:0.81 ]"));
}

TEST(EvaluateVerdict, AnUnclassifiedPageHasItsReason) {
  String message;
  EXPECT_EQ(WFEvaluateVerdict(verdictOf(false, nullptr, String(u"the reason")), &message), 0);
  EXPECT_EQ(message, String(u"the reason"));
  EXPECT_EQ(WFEvaluateVerdict(verdictOf(true, nullptr, nullptr), &message), 1);
  EXPECT_TRUE(message.isNull());
}

TEST(EvaluateVerdict, TheVerdictDecidesNotTheResult) {
  EXPECT_EQ(WFEvaluateVerdict(verdictOf(false, someResult(), nullptr), nullptr), 0);
  EXPECT_EQ(WFEvaluateVerdict(verdictOf(true, nullptr, nullptr), nullptr), 1);
}

TEST(EvaluateVerdict, NoVerdictRestrictsNothing) {
  String message(u"old");
  EXPECT_EQ(WFEvaluateVerdict(nullptr, &message), 0);
  EXPECT_TRUE(message.isNull());
  EXPECT_EQ(WFEvaluateVerdict(nullptr, nullptr), 0);
}

}  // namespace
}  // namespace sifterra
