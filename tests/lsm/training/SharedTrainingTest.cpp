// SharedTrainingTest: training by several processes, played by threads of one: the map must not depend on who
// has which page.
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "lsm/MapFile.h"
#include "lsm/training/Calibration.h"
#include "lsm/training/Reduction.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

// Where threads meet: the last one to come makes the result, and all leave with it.
class Meeting {
 public:
  explicit Meeting(std::size_t size) : _size(size) {}
  [[nodiscard]] std::size_t size() const { return _size; }

  // Gives what all have brought, by rank.
  std::vector<std::vector<std::string>> meet(std::size_t rank, std::vector<std::string> brought) {
    std::unique_lock lock(_mutex);
    const std::size_t round = _round;
    _brought.resize(_size);
    _brought[rank] = std::move(brought);
    if (++_come == _size) {
      _result = std::move(_brought);
      _brought.clear();
      _come = 0;
      ++_round;
      _changed.notify_all();
    } else {
      _changed.wait(lock, [&] { return _round != round; });
    }
    std::vector<std::vector<std::string>> result = _result;
    // Nobody may bring something new before all have taken this.
    if (++_left == _size) {
      _left = 0;
      ++_leaving;
      _changed.notify_all();
    } else {
      const std::size_t leaving = _leaving;
      _changed.wait(lock, [&] { return _leaving != leaving; });
    }
    return result;
  }

 private:
  std::size_t _size;
  std::mutex _mutex;
  std::condition_variable _changed;
  std::size_t _come = 0;
  std::size_t _left = 0;
  std::size_t _round = 0;
  std::size_t _leaving = 0;
  std::vector<std::vector<std::string>> _brought;
  std::vector<std::vector<std::string>> _result;
};

class ThreadReduction final : public Reduction {
 public:
  using Reduction::sum;
  ThreadReduction(Meeting& meeting, std::size_t rank) : _meeting(meeting), _rank(rank) {}
  [[nodiscard]] bool distributed() const override { return true; }
  [[nodiscard]] std::size_t rank() const override { return _rank; }
  [[nodiscard]] std::size_t size() const override { return _meeting.size(); }
  void sum(double* values, std::size_t count) const override {
    const std::string mine(reinterpret_cast<const char*>(values), count * sizeof(double));
    const auto all = _meeting.meet(_rank, {mine});
    std::fill_n(values, count, 0.0);
    for (const auto& part : all) {
      EXPECT_EQ(part[0].size(), mine.size());
      const auto* theirs = reinterpret_cast<const double*>(part[0].data());
      for (std::size_t i = 0; i < count; ++i) values[i] += theirs[i];
    }
  }
  [[nodiscard]] std::vector<std::string> gather(std::string bytes) const override {
    std::vector<std::string> all;
    for (auto& part : _meeting.meet(_rank, {std::move(bytes)})) all.push_back(std::move(part[0]));
    return _rank == 0 ? all : std::vector<std::string>();
  }
  [[nodiscard]] std::string broadcast(std::string bytes) const override {
    return _meeting.meet(_rank, {std::move(bytes)})[0][0];
  }
  [[nodiscard]] std::vector<std::string> exchange(std::vector<std::string> parts) const override {
    std::vector<std::string> received;
    for (const auto& part : _meeting.meet(_rank, std::move(parts))) received.push_back(part[_rank]);
    return received;
  }

 private:
  Meeting& _meeting;
  std::size_t _rank;
};

struct Outcome {
  std::optional<MapContents> map;
  TrainingSummary summary;
  std::string why;
};

// What each of so many processes came to; page i goes to process i modulo their number.
std::vector<Outcome> trainShared(const std::vector<TinyPage>& pages, std::size_t processes) {
  Meeting meeting(processes);
  std::vector<Outcome> outcomes(processes);
  std::vector<std::thread> threads;
  for (std::size_t rank = 0; rank < processes; ++rank) {
    threads.emplace_back([&, rank] {
      std::vector<TinyPage> mine;
      for (std::size_t i = rank; i < pages.size(); i += processes) mine.push_back(pages[i]);
      TrainingCorpus corpus = tinyCorpus(mine);
      const ThreadReduction reduction(meeting, rank);
      TrainingOptions options = tinyOptions();
      options.reduction = &reduction;
      outcomes[rank].map = trainMap(corpus, options, outcomes[rank].summary, outcomes[rank].why);
    });
  }
  for (std::thread& thread : threads) thread.join();
  return outcomes;
}

LsmMap opened(const MapContents& contents) {
  std::string why;
  return Map::ofBytes(MapBytes::copyOf(mapFileBytes(contents, why)), why);
}

// The tolerance that docs/cluster.md promises, in log-odds.
constexpr double kTolerance = 0.05;

void expectAlike(const MapContents& one, const MapContents& other) {
  ASSERT_EQ(one.words.size(), other.words.size());
  for (std::size_t w = 0; w < one.words.size(); ++w) {
    ASSERT_EQ(one.words[w].text, other.words[w].text);
    EXPECT_NEAR(one.words[w].weight, other.words[w].weight, 1e-5);
    EXPECT_EQ(one.words[w].splitCost, other.words[w].splitCost);
  }
  const LsmMap first = opened(one);
  const LsmMap second = opened(other);
  ASSERT_TRUE(first && second);
  for (const TinyPage& page : tinyPages(100, 2, 99))
    EXPECT_NEAR(marginOf(first, page.text), marginOf(second, page.text), kTolerance);
}

TEST(SharedTraining, MakesTheMapOfOneProcess) {
  std::vector<TinyPage> pages = tinyPages(150);
  // Composed pages do not calibrate, whoever has them.
  for (std::size_t i = 0; i < pages.size(); i += 7) pages[i].composed = pages[i].category == 2;
  Outcome alone;
  TrainingCorpus corpus = tinyCorpus(pages);
  alone.map = trainMap(corpus, tinyOptions(), alone.summary, alone.why);
  ASSERT_TRUE(alone.map) << alone.why;
  for (const std::size_t processes : {1, 2, 3, 4}) {
    SCOPED_TRACE(processes);
    const std::vector<Outcome> shared = trainShared(pages, processes);
    ASSERT_TRUE(shared[0].map) << shared[0].why;
    expectAlike(*alone.map, *shared[0].map);
    EXPECT_EQ(shared[0].summary.sites, alone.summary.sites);
    EXPECT_EQ(shared[0].summary.differentWords, alone.summary.differentWords);
    for (std::size_t c = 0; c < 2; ++c) {
      EXPECT_EQ(shared[0].summary.categories[c].teaching, alone.summary.categories[c].teaching);
      EXPECT_EQ(shared[0].summary.categories[c].calibrating, alone.summary.categories[c].calibrating);
    }
    EXPECT_EQ(shared[0].map->memory.teachingPages, alone.map->memory.teachingPages);
    for (std::size_t rank = 1; rank < processes; ++rank) {
      EXPECT_FALSE(shared[rank].map);
      EXPECT_EQ(shared[rank].why, "");
    }
  }
}

// One process may have all pages of a category, or none at all.
TEST(SharedTraining, DoesNotMindWhoHasWhichPages) {
  std::vector<TinyPage> pages;
  for (const TinyPage& page : tinyPages(80)) {
    if (page.category == 1) pages.push_back(page);
  }
  std::vector<TinyPage> mixed;
  std::size_t at = 0;
  for (const TinyPage& page : tinyPages(80)) {
    if (page.category == 2 && at < pages.size()) {
      mixed.push_back(pages[at++]);
      mixed.push_back(page);
    }
  }
  const std::vector<Outcome> byCategory = trainShared(mixed, 2);
  ASSERT_TRUE(byCategory[0].map) << byCategory[0].why;
  const std::vector<Outcome> one = trainShared(mixed, 1);
  ASSERT_TRUE(one[0].map) << one[0].why;
  expectAlike(*one[0].map, *byCategory[0].map);
}

TEST(SharedTraining, AllProcessesSayTheSameOfPagesThatMakeNoMap) {
  for (const Outcome& outcome : trainShared(tinyPages(60, 1), 3)) {
    EXPECT_FALSE(outcome.map);
    EXPECT_EQ(outcome.why, "pages of two categories or more are needed");
  }
}

}  // namespace
}  // namespace sifterra::lsm
