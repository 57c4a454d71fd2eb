#include "Counters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "services/icap/fixture.h"

namespace sifterra::icap {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(Counters, PutAJudgementIntoTheBucketOfItsTime) {
  Counters counters;
  counters.addJudgement(0us);
  counters.addJudgement(100us);
  counters.addJudgement(101us);
  counters.addJudgement(5s);
  const std::string text = counters.prometheusText();
  EXPECT_THAT(text, HasSubstr("# TYPE sifterra_icap_judgement_seconds histogram\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_bucket{le=\"0.0001\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_bucket{le=\"0.00025\"} 3\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_bucket{le=\"1\"} 3\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_bucket{le=\"+Inf\"} 4\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_sum 5.000201\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_judgement_seconds_count 4\n"));
}

TEST(Counters, TellVerdictsByTheirReasons) {
  Counters counters;
  counters.addVerdict({true, Verdict::Classified, ""});
  counters.addVerdict({true, Verdict::Classified, ""});
  counters.addVerdict({false, Verdict::NoPage, ""});
  counters.add(Count::DecodeFailures, 3);
  const std::string text = counters.prometheusText();
  EXPECT_THAT(text, HasSubstr("sifterra_icap_requests_total{verdict=\"refused\",reason=\"classified\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_requests_total{verdict=\"allowed\",reason=\"no_page\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("sifterra_icap_decode_failures_total 3\n"));
}

TEST(Counters, AreSharedByTheProcessesOfTheServer) {
  Counters counters;
  const pid_t child = fork();
  if (child == 0) {
    counters.add(Count::BodyBytes, 7);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_THAT(counters.prometheusText(), HasSubstr("sifterra_icap_body_bytes_total 7\n"));
}

TEST(Counters, HaveNamesForPeople) {
  EXPECT_EQ(Counters::nameOf(0), "pages judged");
  EXPECT_EQ(Counters::nameOf(Counters::kRefusedAt), "refused, classified");
  EXPECT_EQ(Counters::nameOf(Counters::kAllowedAt + 1), "allowed, nothing_to_classify");
  EXPECT_EQ(Counters::nameOf(Counters::kBucketsAt), "judged within 100 us");
  EXPECT_EQ(Counters::nameOf(Counters::kNumber - 1), "judged above 1000000 us");
}

TEST(Counters, ReplaceTheirFileInOneStep) {
  const TemporaryDirectory directory;
  Counters counters;
  const std::string path = directory.write("sifterra.prom", "old");
  EXPECT_TRUE(counters.writePrometheus(path));
  EXPECT_EQ(readFile(path), counters.prometheusText());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
  EXPECT_FALSE(counters.writePrometheus(directory.path() + "/none/sifterra.prom"));
}

}  // namespace
}  // namespace sifterra::icap
