// ordered_parallel: works on a stream of items with several threads and gives the results in order.
//
//   orderedParallel(threads, [&] { return source.next(); }, judge, [&](Result r) { return print(r); });
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace sifterra::tools {

// Results that wait for a slower page before them, per thread. They are small; pages are not, and of
// those each thread holds one.
inline constexpr std::size_t kResultsAhead = 64;

// produce() -> std::optional<Item>: the next item, nothing at the end. Called by one thread at a time.
// work(Item) -> Result: called by all threads at once.
// consume(Result) -> bool: called in the order of production by one thread at a time; false ends the run.
template <class Produce, class Work, class Consume>
void orderedParallel(std::size_t threads, Produce produce, Work work, Consume consume) {
  using Item = typename decltype(produce())::value_type;
  using Result = decltype(work(std::declval<Item>()));
  if (threads == 0) threads = 1;
  std::mutex producing;
  std::mutex consuming;
  std::condition_variable consumed;
  std::size_t produced = 0;               // guarded by producing
  bool ended = false;                     // guarded by producing
  std::map<std::size_t, Result> waiting;  // guarded by consuming
  std::size_t turn = 0;                   // guarded by consuming: whose result is consumed next
  bool stopped = false;                   // guarded by consuming

  const auto take = [&]() -> std::optional<std::pair<std::size_t, Item>> {
    const std::lock_guard lock(producing);
    {
      std::unique_lock wait(consuming);
      consumed.wait(wait, [&] { return stopped || produced - turn < kResultsAhead * threads; });
      if (stopped) return std::nullopt;
    }
    if (ended) return std::nullopt;
    std::optional<Item> item = produce();
    ended = !item.has_value();
    if (ended) return std::nullopt;
    return std::pair(produced++, std::move(*item));
  };
  const auto give = [&](std::size_t number, Result result) {
    const std::lock_guard lock(consuming);
    waiting.emplace(number, std::move(result));
    for (auto next = waiting.find(turn); next != waiting.end() && !stopped; next = waiting.find(turn)) {
      stopped = !consume(std::move(next->second));
      waiting.erase(next);
      ++turn;
    }
    consumed.notify_all();
  };
  const auto run = [&] {
    while (auto item = take()) give(item->first, work(std::move(item->second)));
  };
  std::vector<std::thread> helpers;
  for (std::size_t i = 1; i < threads; ++i) helpers.emplace_back(run);
  run();
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace sifterra::tools
