#include "icap/PageMessages.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace sifterra::bench {
namespace {

void appendChunk(std::string& out, const char* bytes, std::size_t count) {
  char size[16];
  const auto end = std::to_chars(size, size + sizeof size, count, 16).ptr;
  out.append(size, end).append("\r\n").append(bytes, count).append("\r\n");
}

}  // namespace

std::vector<std::string> readPages(const std::string& directory) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  std::vector<std::string> pages;
  for (const auto& path : paths) {
    std::ifstream file(path, std::ios::binary);
    pages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return pages;
}

PageMessage messageOfPage(const std::string& page, std::size_t number, const MessageOptions& options) {
  const std::string host = "www" + std::to_string(number) + ".example.com";
  const std::string request =
      "GET http://" + host + "/page.html HTTP/1.1\r\nHost: " + host +
      "\r\nUser-Agent: Mozilla/5.0 (X11; Linux x86_64; rv:128.0)\r\nAccept: text/html\r\n"
      "Accept-Language: en-US,en;q=0.5\r\n\r\n";
  const std::string response =
      "HTTP/1.1 200 OK\r\nDate: Sat, 21 Nov 2026 12:00:00 GMT\r\nServer: Apache\r\n"
      "Content-Type: text/html; charset=utf-8\r\nContent-Length: " +
      std::to_string(page.size()) + "\r\n\r\n";
  PageMessage message;
  message.bodyBytes = page.size();
  std::string& head = message.head;
  const std::string at = options.host + ":" + std::to_string(options.port);
  head = "RESPMOD icap://" + at + "/" + options.service + " ICAP/1.0\r\nHost: " + at + "\r\n";
  if (!options.allow.empty()) head += "Allow: " + options.allow + "\r\n";
  if (!options.header.empty()) head += options.header + "\r\n";
  if (options.preview) head += "Preview: " + std::to_string(options.previewBytes) + "\r\n";
  head += "X-Client-IP: 127.0.0.1\r\nEncapsulated: req-hdr=0, res-hdr=" + std::to_string(request.size()) +
          ", res-body=" + std::to_string(request.size() + response.size()) + "\r\n\r\n" + request + response;
  const std::size_t shown = options.preview ? std::min(page.size(), options.previewBytes) : 0;
  if (shown > 0) appendChunk(head, page.data(), shown);
  if (options.preview && shown == page.size()) {
    head += "0; ieof\r\n\r\n";
    return message;
  }
  std::string& rest = options.preview ? message.rest : head;
  if (options.preview) head += "0\r\n\r\n";
  for (std::size_t done = shown; done < page.size(); done += options.chunkBytes) {
    appendChunk(rest, page.data() + done, std::min(options.chunkBytes, page.size() - done));
  }
  rest += "0\r\n\r\n";
  return message;
}

}  // namespace sifterra::bench
