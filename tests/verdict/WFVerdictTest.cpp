#include "sifterra/verdict/WFVerdict.h"

#include <gtest/gtest.h>

#include "lsm/LsmEngine.h"

namespace sifterra {
namespace {

using platform::String;

std::shared_ptr<WFLSMResult> someResult() {
  return WFLSMResult::LSMResultWithLSMResultRef({{{1, 0.19F}, {2, 0.81F}}, true}, 0.62F);
}

std::string described(const WFVerdict& verdict) {
  return verdict.description().toUTF8();
}

TEST(WFVerdict, StartsEmpty) {
  const WFVerdict verdict;
  EXPECT_FALSE(verdict.restricted());
  EXPECT_EQ(verdict.evidence(), 0);
  EXPECT_EQ(verdict.LSMEvaluationResult(), nullptr);
  EXPECT_TRUE(verdict.message().isNull());
  EXPECT_TRUE(verdict.URL().isNull());
  EXPECT_EQ(described(verdict), "unrestricted (0) | Not evaluated | (null) | (null)");
}

TEST(WFVerdict, IsMadeWithAllFiveFields) {
  const auto result = someResult();
  const String url(u"http://example.com/");
  const String message(u"RESTRICTED");
  const auto verdict = WFVerdict::verdictWithRestriction(true, url, 9, result, message);
  EXPECT_TRUE(verdict->restricted());
  EXPECT_TRUE(verdict->URL().sameObject(url));  // shared, not copied
  EXPECT_EQ(verdict->evidence(), 9);
  EXPECT_EQ(verdict->LSMEvaluationResult(), result);
  EXPECT_TRUE(verdict->message().sameObject(message));
}

TEST(WFVerdict, EachCallMakesANewVerdict) {
  const auto make = [] { return WFVerdict::verdictWithRestriction(false, nullptr, 2, nullptr, nullptr); };
  EXPECT_NE(make(), make());
}

TEST(WFVerdict, SettersReplaceAndDropTheOldValue) {
  WFVerdict verdict;
  auto result = someResult();
  const std::weak_ptr<WFLSMResult> watched = result;
  verdict.setLSMEvaluationResult(std::move(result));
  EXPECT_FALSE(watched.expired());
  verdict.setLSMEvaluationResult(nullptr);
  EXPECT_TRUE(watched.expired());
  verdict.setMessage(String(u"one"));
  verdict.setMessage(String(u"two"));
  EXPECT_EQ(verdict.message(), String(u"two"));
  verdict.setURL(String(u"http://b/"));
  verdict.setURL(nullptr);
  EXPECT_TRUE(verdict.URL().isNull());
  verdict.setRestricted(true);
  verdict.setEvidence(-7);
  EXPECT_EQ(described(verdict), "RESTRICTED (-7) | Not evaluated | two | (null)");
}

TEST(WFVerdict, SettingTheSameObjectTwiceKeepsItAlive) {
  WFVerdict verdict;
  verdict.setMessage(String(u"SELF-RESTRICTED"));
  verdict.setMessage(verdict.message());
  verdict.setMessage(verdict.message());
  EXPECT_EQ(verdict.message(), String(u"SELF-RESTRICTED"));
  verdict.setURL(String(u"http://example.com/"));
  verdict.setURL(verdict.URL());
  EXPECT_EQ(verdict.URL(), String(u"http://example.com/"));
  verdict.setLSMEvaluationResult(someResult());
  verdict.setLSMEvaluationResult(verdict.LSMEvaluationResult());
  EXPECT_EQ(verdict.LSMEvaluationResult()->scoreForCategory(2), 0.81F);
}

TEST(WFVerdict, DescribesASelfRestrictedPage) {
  const auto verdict = WFVerdict::verdictWithRestriction(
      true, String(u"http://example.com/"), kWFEvidenceSelfRestricted, nullptr, String(u"SELF-RESTRICTED"));
  EXPECT_EQ(described(*verdict), "RESTRICTED (3) | Not evaluated | SELF-RESTRICTED | http://example.com/");
}

TEST(WFVerdict, DescribesAClassifiedPageWithItsScores) {
  const auto verdict = WFVerdict::verdictWithRestriction(
      false, String(u"http://example.com/"), kWFEvidenceClassified, someResult(), String(u" Allowed  "));
  EXPECT_EQ(described(*verdict),
            "unrestricted (0) | 1:0.19    [ 2:0.81 ] |  Allowed   | http://example.com/");
}

TEST(WFVerdict, EvidenceHasItsNumbers) {
  EXPECT_EQ(kWFEvidenceClassified, 0);
  EXPECT_EQ(kWFEvidenceNothingToClassify, 2);
  EXPECT_EQ(kWFEvidenceSelfRestricted, 3);
  EXPECT_EQ(kWFEvidenceTooLittleContent, 5);
  EXPECT_EQ(kWFEvidenceFrameset, 6);
  EXPECT_EQ(kWFEvidenceShortRefresh, 7);
  EXPECT_EQ(kWFEvidenceListed, 8);
  EXPECT_EQ(kWFEvidenceNotListed, 9);
  EXPECT_EQ(kWFEvidenceAlwaysAllowHTTPS, 10);
}

}  // namespace
}  // namespace sifterra
