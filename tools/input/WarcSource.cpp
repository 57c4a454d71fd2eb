#include "input/WarcSource.h"

#include "input/FileSources.h"
#include "input/GzipStream.h"
#include "input/ascii.h"
#include "input/http_response.h"
#include "input/page_site.h"

namespace sifterra::tools {
namespace {

// A block holds the message's headers beside the page.
constexpr std::size_t kMaxBlockBytes = kMaxPageBytes + (std::size_t{1} << 20);

std::unique_ptr<ByteStream> openArchive(const std::string& path) {
  return std::make_unique<GzipStream>(std::make_unique<FileStream>(path));
}

// Version 1.0's grammar was read by some writers as wanting angle brackets around the URI.
std::string targetURI(const WarcRecord& record) {
  const std::string& uri = record.field("warc-target-uri");
  return uri.size() >= 2 && uri.front() == '<' && uri.back() == '>' ? uri.substr(1, uri.size() - 2) : uri;
}

bool holdsHttpResponse(const WarcRecord& record) {
  if (!asciiEqual(record.field("warc-type"), "response")) return false;
  const std::string type = mediaTypeOf(record.field("content-type"));
  if (!type.empty()) return type == "application/http";
  return asciiEqual(targetURI(record).substr(0, 4), "http");
}

bool isHtml(const HttpResponse& response) {
  if (!response.mediaType.empty()) return isHtmlMediaType(response.mediaType);
  const std::string_view body = asciiTrim(response.body);
  return !body.empty() && body.front() == '<';
}

}  // namespace

WarcSource::WarcSource(std::string path) : path_(std::move(path)), total_(fileSize(path_)) {}

WarcSource::WarcSource(std::string path, std::unique_ptr<ByteStream> stream)
    : path_(std::move(path)), total_(0), records_(std::make_unique<WarcReader>(std::move(stream))) {}

std::uint64_t WarcSource::bytesRead() const {
  return records_ ? records_->position() : 0;
}

std::optional<PageItem> WarcSource::next() {
  if (done_) return std::nullopt;
  try {
    if (!records_) records_ = std::make_unique<WarcReader>(openArchive(path_));
    while (std::optional<WarcRecord> record = records_->next()) {
      if (!holdsHttpResponse(*record)) continue;
      if (std::optional<PageItem> item = pageOf(*record)) return item;
    }
  } catch (const InputError& error) {
    done_ = true;
    PageItem item;
    item.page.path = path_;
    item.error = path_ + ": " + error.what();
    return item;
  }
  done_ = true;
  return std::nullopt;
}

// Nothing when the response is no page.
std::optional<PageItem> WarcSource::pageOf(const WarcRecord& record) {
  PageItem item;
  item.page.path = path_;
  item.page.number = static_cast<std::size_t>(record.number);
  item.page.url = targetURI(record);
  item.page.site = siteOfURL(item.page.url).value_or(path_);
  const std::optional<std::string> block = records_->readBlock(kMaxBlockBytes);  // damage ends the archive
  try {
    if (!block) throw InputError("is larger than " + std::to_string(kMaxBlockBytes) + " bytes");
    // Most responses of a crawl are no pages: their bodies need no decoding.
    const HttpResponse head = parseHttpHead(*block);
    if (!head.mediaType.empty() && !isHtmlMediaType(head.mediaType)) return std::nullopt;
    HttpResponse response = parseHttpResponse(*block, kMaxPageBytes);
    if (!isHtml(response)) return std::nullopt;
    item.page.charset = response.charset;
    item.page.bytes = platform::Data(std::move(response.body));
  } catch (const InputError& error) {
    item.error =
        path_ + ": record " + std::to_string(record.number) + " (" + item.page.url + "): " + error.what();
  }
  return item;
}

}  // namespace sifterra::tools
