// What it costs to ask a list of 100,000 sites, beside making the site that is asked about; what an entry
// takes in memory, and an addition that drops the oldest.
//
// buildCandidate is the baseline: it makes the sites of the same addresses and asks nobody. The kinds of
// list:
//   0  each site on a domain of its own
//   1  50,000 on one domain, told apart by path, and 50,000 on domains of their own
//   2  the same told apart by host
//   3  the same told apart by query
// Whatever is asked about lies on a domain of the list (1 to 3: the big one) and matches nothing, except that
// every second address of kind 0 is found, and every address of kinds 2 and 3 that is asked about by path.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sifterra/policy/WFWhitelistSiteBuffer.h"

namespace {

using namespace sifterra;
using platform::String;

constexpr std::int64_t kSites = 100000;

// Numbers in an order of no pattern.
std::string scattered(std::int64_t i) {
  return std::to_string(i * 7919 % 100003);
}

String entry(std::int64_t kind, std::int64_t i) {
  const std::string number = scattered(i);
  if (kind == 0 || i % 2 == 0) return String::fromUTF8("https://www.site" + number + ".com/start/" + number);
  switch (kind) {
    case 1:
      return String::fromUTF8("https://www.bighost.com/~user" + number + "/pages");
    case 2:
      return String::fromUTF8("https://user" + number + ".bighost.com/");
    default:
      return String::fromUTF8("https://www.bighost.com/watch?v=" + number);
  }
}

String candidate(std::int64_t kind, std::int64_t i) {
  const std::string number = scattered(i);
  const std::string tail = "/articles/2024/05/17/what-there-is-to-see-" + number + ".html?from=start&page=2";
  switch (kind) {
    case 0:
      return String::fromUTF8("https://news.site" + number + ".com/" +
                              (i % 2 == 0 ? "start/" + number : "other") + tail);
    case 1:
      return String::fromUTF8("https://www.bighost.com/~user" + number + "x" + tail);
    case 2:
      return String::fromUTF8("https://visitor" + number + ".bighost.com" + tail);
    default:
      return String::fromUTF8("https://www.bighost.com/watch?list=" + number + "&from=" + tail);
  }
}

// Made once per kind and kept.
WFWhitelistSiteBuffer& listOf(std::int64_t kind) {
  static std::unique_ptr<WFWhitelistSiteBuffer> lists[4];
  auto& list = lists[kind];
  if (!list) {
    list = std::make_unique<WFWhitelistSiteBuffer>();
    for (std::int64_t i = 0; i < kSites; ++i) list->addURLString(entry(kind, i));
  }
  return *list;
}

const std::vector<String>& candidates(std::int64_t kind) {
  static std::vector<String> all[4];
  if (all[kind].empty()) {
    for (std::int64_t i = 0; i < kSites / 4; ++i) all[kind].push_back(candidate(kind, 3 * i + 1));
  }
  return all[kind];
}

template <class Ask>
void askAll(benchmark::State& state, const Ask& ask) {
  const std::vector<String>& asked = candidates(state.range(0));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ask(asked[i]));
    i = i + 1 == asked.size() ? 0 : i + 1;
  }
}

void buildCandidate(benchmark::State& state) {
  static_cast<void>(listOf(state.range(0)));  // so that the heap is the same
  askAll(state, [](const String& address) { return WFWhitelistSite(address).hash(); });
}

void containsURLString(benchmark::State& state) {
  const WFWhitelistSiteBuffer& list = listOf(state.range(0));
  askAll(state, [&](const String& address) { return list.containsURLString(address); });
}

void containsMetasitePrefix(benchmark::State& state) {
  const WFWhitelistSiteBuffer& list = listOf(state.range(0));
  static_cast<void>(list.containsMetasitePrefixOfURLString(candidate(0, 0)));  // makes its index
  askAll(state, [&](const String& address) { return list.containsMetasitePrefixOfURLString(address); });
}

// Additions to a list that is full; the ratio of two lengths shows that they do not depend on it.
void addWithEviction(benchmark::State& state) {
  WFWhitelistSiteBuffer list;
  list.setMaxSize(static_cast<std::uint64_t>(state.range(1)));
  std::vector<String> entries;
  for (std::int64_t i = 0; i < 2 * kSites; ++i) entries.push_back(entry(state.range(0), i));
  for (const String& address : entries) list.addURLString(address);
  std::size_t i = 0;
  for (auto _ : state) {
    list.addURLString(entries[i]);
    i = i + 1 == entries.size() ? 0 : i + 1;
  }
}

// Bytes in use per entry, with the index of paths made; the addresses are let go.
void memoryPerEntry(benchmark::State& state) {
  double bytes = 0;
  for (auto _ : state) {
    const auto inUse = [] {
      const struct mallinfo2 info = mallinfo2();
      return info.uordblks + info.hblkhd;
    };
    const std::size_t before = inUse();
    WFWhitelistSiteBuffer list;
    for (std::int64_t i = 0; i < kSites; ++i) list.addURLString(entry(state.range(0), i));
    static_cast<void>(list.containsMetasitePrefixOfURLString(candidate(0, 0)));
    bytes = static_cast<double>(inUse() - before) / static_cast<double>(kSites);
  }
  state.counters["bytes_per_entry"] = bytes;
}

BENCHMARK(memoryPerEntry)->DenseRange(0, 3)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(buildCandidate)->DenseRange(0, 3);
BENCHMARK(containsURLString)->DenseRange(0, 3);
BENCHMARK(containsMetasitePrefix)->DenseRange(0, 3);
BENCHMARK(addWithEviction)->ArgsProduct({{0, 1, 2, 3}, {1000, 100000}});

}  // namespace
