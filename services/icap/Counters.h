// Counters: what the service has done since it was started, shared by all processes of the server.
//
// The counters lie in memory that the server's processes inherit, so that a process that ends takes none with
// it.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Verdict.h"

namespace sifterra::icap {

// The upper bounds of the histogram's buckets, in microseconds; one more bucket holds what is above.
inline constexpr std::array<std::uint32_t, 13> kMicroseconds{
    100, 250, 500, 1000, 2500, 5000, 10000, 25000, 50000, 100000, 250000, 500000, 1000000};
inline constexpr std::array<int, 16> kReasons{
    Verdict::Classified,       Verdict::NothingToClassify, Verdict::SelfRestricted,
    Verdict::TooLittleContent, Verdict::Frameset,          Verdict::ShortRefresh,
    Verdict::Listed,           Verdict::NotListed,         Verdict::AlwaysAllowHTTPS,
    Verdict::NoPage,           Verdict::UnknownUser,       Verdict::BrokenPolicy,
    Verdict::Undecodable,      Verdict::OverLimit,         Verdict::PartOfPage,
    Verdict::LeftToResponse};

enum class Count : std::size_t {
  Judged,
  BodyBytes,
  JudgedBytes,
  DecodeFailures,
  JudgementMicroseconds,
  Last
};

// Told of each count, so that it can go elsewhere, too.
class CountListener {
 public:
  virtual ~CountListener() = default;
  virtual void counted(std::size_t counter, std::uint64_t amount) = 0;
};

class Counters {
 public:
  static constexpr std::size_t kRefusedAt = static_cast<std::size_t>(Count::Last);
  static constexpr std::size_t kAllowedAt = kRefusedAt + kReasons.size();
  static constexpr std::size_t kBucketsAt = kAllowedAt + kReasons.size();
  static constexpr std::size_t kNumber = kBucketsAt + kMicroseconds.size() + 1;

  Counters();  // throws std::bad_alloc
  ~Counters();
  Counters(const Counters&) = delete;
  Counters& operator=(const Counters&) = delete;

  void setListener(CountListener* listener) { listener_ = listener; }

  void add(Count count, std::uint64_t amount) { addAt(static_cast<std::size_t>(count), amount); }
  void addVerdict(const Verdict& verdict);
  // A page that was judged, in so much time.
  void addJudgement(std::chrono::nanoseconds took);

  [[nodiscard]] std::uint64_t at(std::size_t counter) const;
  // A counter's name for people: "refused (listed)".
  [[nodiscard]] static std::string nameOf(std::size_t counter);

  // All of them as Prometheus reads them.
  [[nodiscard]] std::string prometheusText() const;
  // The same into a file, which is replaced in one step; false when it cannot be written.
  [[nodiscard]] bool writePrometheus(const std::string& path) const;

 private:
  void addAt(std::size_t counter, std::uint64_t amount);

  std::atomic<std::uint64_t>* shared_;
  CountListener* listener_ = nullptr;
};

}  // namespace sifterra::icap
