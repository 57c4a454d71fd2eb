// EvaluatorTest: what the tests of the evaluator have in common.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "blockpage/EvaluatorFixture.h"
#include "kernelcontrol/RecordingControl.h"

namespace sifterra {

inline constexpr char16_t kAddress[] = u"http://site.example.com/page";

class WebFilterEvaluatorTest : public testing::Test {
 protected:
  void beUser(const char16_t* name) { fixture.users.currentUser = platform::String(name); }
  static WebFilterEvaluator evaluatorFor(const char16_t* url = kAddress) {
    return WebFilterEvaluator(WebFilterResponse{urlFrom(url)});
  }
  static std::string add(WebFilterEvaluator& evaluator, std::string bytes) {
    const platform::Data data = evaluator.addData(platform::Data(std::move(bytes)));
    return data ? std::string(data.chars()) : "(null)";
  }
  static std::string complete(WebFilterEvaluator& evaluator) {
    const platform::Data data = evaluator.dataComplete();
    return data ? std::string(data.chars()) : "(null)";
  }
  // The page that stands for a refused one of the current user.
  static std::string blockPage(const char16_t* url = kAddress) {
    WebFilterEvaluator evaluator = evaluatorFor(url);
    EXPECT_EQ(add(evaluator, pageOf(kAdult, 600)), "");
    std::string page = complete(evaluator);
    EXPECT_TRUE(evaluator.wasBlocked());
    return page;
  }

  EvaluatorFixture fixture;
  RecordingControl control;
};

}  // namespace sifterra
