#include "Counters.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <new>

namespace sifterra::icap {
namespace {

using Shared = std::array<std::atomic<std::uint64_t>, Counters::kNumber>;
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

std::size_t reasonIndex(int reason) {
  const auto found = std::find(kReasons.begin(), kReasons.end(), reason);
  return static_cast<std::size_t>(found == kReasons.end() ? kReasons.size() - 1 : found - kReasons.begin());
}

constexpr const char* kCountNames[] = {"pages judged", "body bytes", "judged bytes", "decode failures",
                                       "judgement microseconds"};

struct Metric {
  Count count;
  const char* name;
  const char* help;
};
constexpr Metric kMetrics[] = {
    {Count::BodyBytes, "sifterra_icap_body_bytes_total", "Bytes of bodies that the service was sent."},
    {Count::JudgedBytes, "sifterra_icap_judged_bytes_total", "Bytes of pages that were judged, decoded."},
    {Count::DecodeFailures, "sifterra_icap_decode_failures_total",
     "Bodies whose content coding could not be undone."},
};

void appendMetric(std::string* text, const char* name, const char* help, const char* type) {
  *text += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

}  // namespace

Counters::Counters() {
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  shared_ = (new (memory) Shared())->data();
}

Counters::~Counters() {
  munmap(shared_, sizeof(Shared));
}

void Counters::addAt(std::size_t counter, std::uint64_t amount) {
  shared_[counter].fetch_add(amount, std::memory_order_relaxed);
  if (listener_) listener_->counted(counter, amount);
}

void Counters::addVerdict(const Verdict& verdict) {
  addAt((verdict.refused ? kRefusedAt : kAllowedAt) + reasonIndex(verdict.reason), 1);
}

void Counters::addJudgement(std::chrono::nanoseconds took) {
  const auto microseconds = static_cast<std::uint64_t>(
      std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::microseconds>(took).count()));
  const auto bucket = std::lower_bound(kMicroseconds.begin(), kMicroseconds.end(), microseconds);
  addAt(kBucketsAt + static_cast<std::size_t>(bucket - kMicroseconds.begin()), 1);
  add(Count::JudgementMicroseconds, microseconds);
  add(Count::Judged, 1);
}

std::uint64_t Counters::at(std::size_t counter) const {
  return shared_[counter].load(std::memory_order_relaxed);
}

std::string Counters::nameOf(std::size_t counter) {
  if (counter < kRefusedAt) return kCountNames[counter];
  if (counter < kAllowedAt) return std::string("refused, ") + reasonName(kReasons[counter - kRefusedAt]);
  if (counter < kBucketsAt) return std::string("allowed, ") + reasonName(kReasons[counter - kAllowedAt]);
  const std::size_t bucket = counter - kBucketsAt;
  if (bucket == kMicroseconds.size()) return "judged above " + std::to_string(kMicroseconds.back()) + " us";
  return "judged within " + std::to_string(kMicroseconds[bucket]) + " us";
}

std::string Counters::prometheusText() const {
  std::string text;
  appendMetric(&text, "sifterra_icap_requests_total", "Requests by what became of them and why.", "counter");
  for (std::size_t reason = 0; reason < kReasons.size(); ++reason) {
    const std::string label = std::string("\",reason=\"") + reasonName(kReasons[reason]) + "\"} ";
    text += "sifterra_icap_requests_total{verdict=\"allowed" + label +
            std::to_string(at(kAllowedAt + reason)) + "\n";
    text += "sifterra_icap_requests_total{verdict=\"refused" + label +
            std::to_string(at(kRefusedAt + reason)) + "\n";
  }
  for (const Metric& metric : kMetrics) {
    appendMetric(&text, metric.name, metric.help, "counter");
    text +=
        std::string(metric.name) + " " + std::to_string(at(static_cast<std::size_t>(metric.count))) + "\n";
  }
  constexpr auto kHistogram = "sifterra_icap_judgement_seconds";
  appendMetric(&text, kHistogram, "Time to judge a page.", "histogram");
  std::uint64_t sum = 0;
  for (std::size_t bucket = 0; bucket <= kMicroseconds.size(); ++bucket) {
    sum += at(kBucketsAt + bucket);
    char bound[32] = "+Inf";
    if (bucket < kMicroseconds.size()) std::snprintf(bound, sizeof bound, "%g", kMicroseconds[bucket] / 1e6);
    text += std::string(kHistogram) + "_bucket{le=\"" + bound + "\"} " + std::to_string(sum) + "\n";
  }
  char seconds[64];
  std::snprintf(seconds, sizeof seconds, "%.6f",
                static_cast<double>(at(static_cast<std::size_t>(Count::JudgementMicroseconds))) / 1e6);
  text += std::string(kHistogram) + "_sum " + seconds + "\n";
  text += std::string(kHistogram) + "_count " + std::to_string(sum) + "\n";
  return text;
}

bool Counters::writePrometheus(const std::string& path) const {
  const std::string text = prometheusText();
  // The collector reads what ends in ".prom" alone.
  const std::string draft = path + ".new" + std::to_string(getpid());
  const int file = open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (file < 0) return false;
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const bool closed = close(file) == 0;
  if (written && closed && std::rename(draft.c_str(), path.c_str()) == 0) return true;
  unlink(draft.c_str());
  return false;
}

}  // namespace sifterra::icap
