// metasites: two text files, each read once and published for good.
#include "policy/metasites.h"

#include <atomic>
#include <string_view>
#include <utility>

#include "platform/Bundle.h"
#include "platform/FileSystem.h"
#include "sifterra/policy/url_domain.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::String;
using platform::URL;

// Far more than such lists need; nothing longer is taken into memory.
constexpr std::size_t kLargestFile = std::size_t{16} * 1024 * 1024;

// Two threads that come first may both load; the later one's is used by both, the other is freed.
constinit std::atomic<const MetasiteDomains*> publishedDomains{nullptr};
constinit std::atomic<const std::shared_ptr<const MetasiteLines>*> publishedExceptions{nullptr};

template <class Value>
const Value& publish(std::atomic<const Value*>& place, std::unique_ptr<const Value> value) {
  const Value* before = nullptr;
  if (place.compare_exchange_strong(before, value.get(), std::memory_order_acq_rel)) return *value.release();
  return *before;
}

std::optional<MetasiteLines> linesOfResource(std::string_view name) {
  const auto bundle = platform::Bundle::library();
  const auto path = bundle ? bundle->pathForResource(name, "txt") : std::nullopt;
  if (!path) return std::nullopt;
  return arrayByConvertingLinesInStringsAtPath(String::fromUTF8Lossy(*path));
}

}  // namespace

std::optional<MetasiteLines> arrayByConvertingLinesInStringsAtPath(const String& path) {
  constexpr auto kOp = "+[WFWhitelistUserPreferences _arrayByConvertingLinesInStringsAtPath:]";
  const platform::FileReading file = platform::readWholeFile(path.toUTF8(), kLargestFile);
  const String text = file.bytes ? String::fromUTF8(*file.bytes) : String();
  if (!text) {
    logError("%s -- Failed to load file at path %{public}@ error: %{public}@", kOp, path,
             String::fromUTF8Lossy(file.bytes ? "it is not UTF-8" : file.problem));
    return std::nullopt;
  }
  MetasiteLines lines;
  std::u16string_view rest = text.view();
  while (!rest.empty()) {
    const std::u16string_view line = rest.substr(0, rest.find(u'\n'));
    if (!line.empty() && line.front() != u'#') lines.emplace_back(line);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return lines;
}

std::optional<MetasiteLines> metasiteDomainNamesArray() {
  constexpr auto kOp = "+[WFWhitelistUserPreferences _metasiteDomainNamesArray]";
  auto lines = linesOfResource("metasites");
  // Kept: the text has the file in the singular.
  if (!lines) logError("%s -- Failed to load metasite.txt", kOp);
  return lines;
}

const MetasiteDomains& sharedMetasiteDomainNamesDictionary() {
  if (const auto* domains = publishedDomains.load(std::memory_order_acquire)) return *domains;
  auto domains = std::make_unique<MetasiteDomains>();
  if (const auto lines = metasiteDomainNamesArray()) {
    for (const String& line : *lines) domains->emplace(line.view());
  }
  return publish<MetasiteDomains>(publishedDomains, std::move(domains));
}

std::shared_ptr<const MetasiteLines> sharedMetasiteExceptionsDomainNamesArray() {
  constexpr auto kOp = "+[WFWhitelistUserPreferences _sharedMetasiteExceptionsDomainNamesArray]";
  if (const auto* exceptions = publishedExceptions.load(std::memory_order_acquire)) return *exceptions;
  auto lines = linesOfResource("metasites_exceptions");
  if (!lines) {
    logError("%s -- Failed to load metasites_exceptions.txt", kOp);
    return nullptr;
  }
  using Shared = std::shared_ptr<const MetasiteLines>;
  auto shared = std::make_unique<const Shared>(std::make_shared<const MetasiteLines>(std::move(*lines)));
  return publish<Shared>(publishedExceptions, std::move(shared));
}

bool isURLMetasite(const URL& url) {
  const String domain = hostnameFromSecondLevelDomain(url);
  if (!domain || !sharedMetasiteDomainNamesDictionary().contains(std::u16string(domain.view()))) return false;
  const auto exceptions = sharedMetasiteExceptionsDomainNamesArray();
  if (!exceptions) return true;
  const String host = url.host();
  for (const String& exception : *exceptions) {
    // Kept: the case counts, and the suffix need not begin at a label.
    if (exception.length() >= 1 && host.view().ends_with(exception.view())) return false;
  }
  return true;
}

void resetMetasitesForTesting() {
  delete publishedDomains.exchange(nullptr);
  delete publishedExceptions.exchange(nullptr);
}

}  // namespace sifterra
