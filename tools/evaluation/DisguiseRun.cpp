#include "evaluation/DisguiseRun.h"

#include <map>
#include <optional>
#include <utility>

#include "evaluation/page_pieces.h"
#include "ordered_parallel.h"

namespace sifterra::tools {
namespace {

constexpr std::int32_t kSelfRestricted = 3;

std::string groupOf(const EvaluatedPage& page, const char* group) {
  const auto found = page.groups.find(group);
  return found == page.groups.end() ? std::string() : found->second;
}

}  // namespace

void DisguiseRun::add(const EvaluatedPage& page, std::string html) {
  texts_.add(html, groupOf(page, "lang"), page.adult);
  if (!page.adult || page.evidence == kSelfRestricted) return;
  pages_.push_back({std::move(html), groupOf(page, "lang"), groupOf(page, "kind"), page.restricted});
}

std::vector<DisguiseFigures> DisguiseRun::judge(const std::vector<const Disguise*>& disguises,
                                                std::size_t threads, const Judge& judge,
                                                const Progress& progress, std::vector<std::string>& leftOut) {
  texts_.finish();
  std::vector<DisguiseFigures> all;
  std::size_t judged = 0;
  for (const Disguise* disguise : disguises) {
    if (disguise->needsOrdinaryText && !texts_.hasOrdinaryPages()) {
      leftOut.emplace_back(disguise->name);
      continue;
    }
    all.push_back(
        figuresOf(*disguise, threads, judge, [&] { progress(++judged, disguises.size() * pages_.size()); }));
  }
  return all;
}

DisguiseFigures DisguiseRun::figuresOf(const Disguise& disguise, std::size_t threads, const Judge& judge,
                                       const std::function<void()>& progress) const {
  struct Outcome {
    const AdultPage* page;
    bool changed;
    bool restricted;
  };
  DisguiseFigures figures;
  figures.name = disguise.name;
  figures.what = disguise.what;
  figures.pages = pages_.size();
  std::map<std::string, Confusion> kinds;
  std::size_t next = 0;
  const auto produce = [&]() -> std::optional<const AdultPage*> {
    if (next == pages_.size()) return std::nullopt;
    return &pages_[next++];
  };
  const auto work = [&](const AdultPage* page) {
    const std::string html = disguise.apply({page->html, page->language, texts_});
    // Cutting and joining alone spells some references anew.
    const bool changed = html != page->html && html != pageOf(pagePieces(page->html));
    return Outcome{page, changed, changed ? judge(html) : page->restricted};
  };
  const auto consume = [&](const Outcome& outcome) {
    progress();
    figures.caught += outcome.restricted ? 1U : 0U;
    if (!outcome.changed) return true;
    ++figures.changed;
    if (!outcome.page->restricted) return true;
    ++figures.plain;
    figures.kept += outcome.restricted ? 1U : 0U;
    if (!outcome.page->kind.empty()) kinds[outcome.page->kind].add(true, outcome.restricted);
    return true;
  };
  orderedParallel(threads, produce, work, consume);
  for (const auto& [kind, confusion] : kinds) figures.kinds.push_back({"kind", kind, confusion, {}});
  return figures;
}

}  // namespace sifterra::tools
