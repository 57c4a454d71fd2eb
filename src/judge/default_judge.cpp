// The default judge: built under a lock, published atomically, never destroyed.
//
// Threads that come after it was published take no lock. Threads that meet before build it one after the
// other, so that a map is loaded once however many ask first. A failure publishes nothing: the next call
// tries again.
#include "judge/default_judge.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Bundle.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"
#include "sifterra/judge/WFJudge.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;
using JudgeReference = std::shared_ptr<WFJudge>;

constexpr std::string_view kMapResource = "content_filter_map3";

constinit std::atomic<const JudgeReference*> publishedJudge{nullptr};
constinit std::mutex buildLock;

JudgeReference buildDefaultJudge() {
  constexpr auto kOp = "+[WFJudge defaultJudge]";
  const String path = WFJudge::defaultLSMMapPath();
  if (!path) {
    logError("%s -- LSM map was not found in the framework!", kOp);
    return nullptr;
  }
  auto map = WFLSMScoreNormalizedMap::mapFromFilePath(path);
  if (!map) {
    logError("%s -- Failed to create a WFLSMMap from %{public}@", kOp, path);
    return nullptr;
  }
  auto judge = std::make_shared<WFJudge>(std::move(map));
  logDebug("%s -- map: %{public}@", kOp, path);
  return judge;
}

}  // namespace

String WFJudge::defaultLSMMapPath() {
  constexpr auto kOp = "+[WFJudge defaultLSMMapPath]";
  const auto bundle = platform::Bundle::library();
  if (!bundle) {
    logError("%s -- WFJudge Sifterra.framework was not found!", kOp);
    return nullptr;
  }
  const std::optional<std::string> path = bundle->pathForResource(kMapResource, "");
  return path ? String::fromUTF8Lossy(*path) : String();
}

JudgeReference WFJudge::defaultJudge() {
  if (const JudgeReference* judge = publishedJudge.load(std::memory_order_acquire)) return *judge;
  const std::lock_guard lock(buildLock);
  if (const JudgeReference* judge = publishedJudge.load(std::memory_order_relaxed)) return *judge;
  JudgeReference judge = buildDefaultJudge();
  if (judge) publishedJudge.store(new JudgeReference(judge), std::memory_order_release);
  return judge;
}

void resetDefaultJudgeForTesting() {
  const std::lock_guard lock(buildLock);
  delete publishedJudge.exchange(nullptr);
}

}  // namespace sifterra
