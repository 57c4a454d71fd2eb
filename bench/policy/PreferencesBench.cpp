// PreferencesBench: what loading a full preference file costs, as a multiple of the bare libplist parse of
// the same bytes. Both take turns in one process; the times are processor times, the ratio is of their
// medians.
//
// The file holds 100,000 sites in each of its three lists, at hosts and paths of many lengths.
#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "sifterra/platform/PropertyList.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra {
namespace {

using platform::PropertyList;
using platform::String;

constexpr int kEntries = 100'000;

std::string address(int list, int i) {
  const std::string number = std::to_string(i);
  switch (i % 4) {
    case 0:
      return "http://www.site-" + number + ".example.com/";
    case 1:
      return "https://shop" + number + ".list" + std::to_string(list) + ".example.de/games/" + number;
    case 2:
      return "http://example" + number + ".org";
    default:
      return "https://news.example" + number + ".net/world?page=" + number;
  }
}

PropertyList fullPreferences() {
  std::vector<std::vector<PropertyList>> lists(3);
  for (int list = 0; list < 3; ++list) {
    for (int i = 0; i < kEntries; ++i) {
      const PropertyList text(String::fromUTF8(address(list, i)));
      lists[static_cast<std::size_t>(list)].push_back(
          list < 2
              ? text
              : PropertyList(std::vector<PropertyList::Entry>{
                    {String(u"address"), text},
                    {String(u"pageTitle"), PropertyList(String::fromUTF8("Site " + std::to_string(i)))}}));
    }
  }
  return PropertyList(std::vector<PropertyList::Entry>{{String(u"useContentFilter"), PropertyList(true)},
                                                       {String(u"restrictWeb"), PropertyList(true)},
                                                       {String(u"filterWhitelist"), PropertyList(lists[0])},
                                                       {String(u"filterBlacklist"), PropertyList(lists[1])},
                                                       {String(u"siteWhitelist"), PropertyList(lists[2])}});
}

struct TemporaryFile {
  explicit TemporaryFile(PropertyList::Format format) {
    char name[] = "/tmp/sifterra-bench-XXXXXX";
    const int descriptor = ::mkstemp(name);
    if (descriptor < 0) std::abort();
    path = name;
    const platform::Data data = fullPreferences().write(format);
    bytes = std::string(data.chars());
    std::ofstream(path, std::ios::binary) << bytes;
  }
  ~TemporaryFile() { std::remove(path.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  std::string path;
  std::string bytes;
};

double processorSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// malloc puts small pieces that were freed together when it is next asked for a large one: here, so that who
// freed them pays for it and not who comes next.
void settleHeap() {
  void* large = std::malloc(std::size_t{64} * 1024);
  benchmark::DoNotOptimize(large);
  std::free(large);
}

template <class Work>
double secondsOf(const Work& work) {
  const double start = processorSeconds();
  work();
  settleHeap();
  return processorSeconds() - start;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void bareParse(const std::string& bytes) {
  plist_t list = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
  benchmark::DoNotOptimize(list);
  plist_free(list);
}

// Loading and dropping, as the bare parse is freed, too.
void load(benchmark::State& state) {
  const auto format = static_cast<PropertyList::Format>(state.range(0));
  const TemporaryFile file(format);
  const String path = String::fromUTF8(file.path);
  std::vector<double> bare;
  std::vector<double> ours;
  for (auto _ : state) {
    bare.push_back(secondsOf([&] { bareParse(file.bytes); }));
    ours.push_back(secondsOf([&] {
      const auto preferences = WFWhitelistUserPreferences::initWithPreferences(path);
      if (preferences->filterBlacklist().count() != kEntries) std::abort();
    }));
    state.SetIterationTime(ours.back());
  }
  state.counters["bare_ms"] = median(bare) * 1e3;
  state.counters["load_ms"] = median(ours) * 1e3;
  state.counters["ratio"] = median(ours) / median(bare);
  state.counters["MB"] = static_cast<double>(file.bytes.size()) / 1e6;
  state.SetLabel(format == PropertyList::Format::XML ? "XML" : "binary");
}

BENCHMARK(load)
    ->Arg(static_cast<int>(PropertyList::Format::XML))
    ->Arg(static_cast<int>(PropertyList::Format::Binary))
    ->Iterations(9)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sifterra
