// How: pages are read by one thread at a time, their words counted by several, and handed to the corpus in
// the order of the input, so that the same command makes the same map.
#include "training/training_pages.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Output.h"
#include "ProgressBar.h"
#include "input/PageSource.h"
#include "ordered_parallel.h"
#include "page_text.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "sifterra/text/WFWebPageToTrainingText.h"

namespace sifterra::tools {
namespace {

// Folders first, as they were given, then the self-labelled files.
class Input {
 public:
  explicit Input(const LabelledPages& pages) {
    for (const CategoryFolder& folder : pages.folders())
      _parts.push_back({folder.category, std::make_unique<PageSources>(std::vector{folder.folder})});
    if (!pages.files.empty()) _parts.push_back({0, std::make_unique<PageSources>(pages.files)});
  }

  std::optional<PageItem> next() {
    for (; _at < _parts.size(); ++_at) {
      std::optional<PageItem> item = _parts[_at].pages->next();
      if (!item) continue;
      if (_parts[_at].category != 0) item->page.label = _parts[_at].category;
      if (!item->error && item->page.label == 0)
        item->error = item->page.name() + ": tells no category (\"label\")";
      return item;
    }
    return std::nullopt;
  }
  // Only by the thread that calls next().
  [[nodiscard]] std::pair<std::uint64_t, std::uint64_t> progress() const {
    std::uint64_t read = 0;
    std::uint64_t total = 0;
    for (const Part& part : _parts) {
      read += part.pages->bytesRead();
      total += part.pages->bytesTotal();
    }
    return {read, total};
  }

 private:
  struct Part {
    int category;  // 0: the pages tell their own
    std::unique_ptr<PageSources> pages;
  };
  std::vector<Part> _parts;
  std::size_t _at = 0;
};

struct Reading {
  PageItem item;
  std::pair<std::uint64_t, std::uint64_t> progress;
};

struct Prepared {
  Use use = Use::kTaken;
  std::string error;
  std::string name;
  lsm::TrainingPage page;
  std::pair<std::uint64_t, std::uint64_t> progress;
};

// Pages that are never scored when the map is used teach nothing.
Use useOf(const WFWebPageToFilterText& page) {
  std::int32_t evidence = 0;
  platform::String message;
  if (page.selfRestricted() || page.isWorthAnalyzingWithEvidence(evidence, message)) return Use::kTaken;
  if (evidence == WFWebPageToFilterText::kFrameset) return Use::kFrameset;
  if (evidence == WFWebPageToFilterText::kShortRefresh) return Use::kRefresh;
  return Use::kTooLittle;
}

Prepared prepare(const Reading& reading) {
  Prepared prepared;
  prepared.progress = reading.progress;
  if (reading.item.error) {
    prepared.use = Use::kError;
    prepared.error = *reading.item.error;
    return prepared;
  }
  const PageRecord& record = reading.item.page;
  prepared.name = record.name();
  const platform::String text = decodedText(record, "");
  const auto filterText = WFWebPageToFilterText::webPageWithString(text);
  prepared.use = useOf(*filterText);
  if (prepared.use != Use::kTaken) return prepared;
  const auto trainingText = WFWebPageToTrainingText::webPageWithString(text);
  trainingText->setCategorySignature(WFWebPageToTrainingText::signatureForCategory(record.label));
  prepared.page = lsm::makeTrainingPage(trainingText->plainText().view(), filterText->plainText().view(),
                                        static_cast<std::uint32_t>(record.label), record.site);
  const auto kind = record.attributes.find("kind");
  prepared.page.composed = kind != record.attributes.end() && kind->second == "composed";
  return prepared;
}

}  // namespace

PageCounts readTrainingPages(const LabelledPages& pages, std::size_t threads, lsm::TrainingCorpus& corpus,
                             std::vector<std::string>* names, PageShare share) {
  Input input(pages);
  std::size_t number = 0;
  ProgressBar bar;
  PageCounts counts;
  const auto produce = [&]() -> std::optional<Reading> {
    std::optional<PageItem> item = input.next();
    while (item && number++ % share.count != share.index) item = input.next();
    if (!item) return std::nullopt;
    return Reading{std::move(*item), input.progress()};
  };
  const auto consume = [&](Prepared prepared) {
    bar.update(++counts.pages, prepared.progress.first, prepared.progress.second);
    if (prepared.use == Use::kError) {
      bar.hide();
      printError(prepared.error);
    } else if (prepared.use == Use::kTaken && !corpus.add(std::move(prepared.page))) {
      prepared.use = Use::kNoWords;
    }
    if (prepared.use == Use::kTaken && names != nullptr) names->push_back(std::move(prepared.name));
    ++counts.uses[static_cast<std::size_t>(prepared.use)];
    return true;
  };
  orderedParallel(threads, produce, prepare, consume);
  return counts;
}

}  // namespace sifterra::tools
