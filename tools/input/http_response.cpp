#include "input/http_response.h"

#include <http_parser.h>

#include <memory>
#include <vector>

#include "input/ByteStream.h"
#include "input/GzipStream.h"
#include "input/ascii.h"

namespace sifterra::tools {
namespace {

constexpr std::size_t kMaxContentEncodings = 4;  // real messages have one; each more is a bomb's lever

// What http_parser's callbacks gather.
struct Gathered {
  HttpResponse response;
  std::string field;
  std::string value;
  bool fieldOpen = false;  // the header line is still being read
  std::string contentEncoding;
  std::size_t limit = 0;
  bool headOnly = false;
  bool headersDone = false;
  bool complete = false;
  bool tooLarge = false;
};

Gathered& gathered(http_parser* parser) {
  return *static_cast<Gathered*>(parser->data);
}

void closeHeader(Gathered& g) {
  if (asciiEqual(g.field, "content-type")) {
    g.response.mediaType = mediaTypeOf(g.value);
    g.response.charset = charsetOf(g.value);
  } else if (asciiEqual(g.field, "content-encoding")) {
    g.contentEncoding += (g.contentEncoding.empty() ? "" : ",") + g.value;
  }
  g.field.clear();
  g.value.clear();
  g.fieldOpen = false;
}

int onMessageBegin(http_parser* parser) {
  Gathered& g = gathered(parser);
  g.response = HttpResponse{};
  g.contentEncoding.clear();
  g.headersDone = false;
  return 0;
}

int onHeaderField(http_parser* parser, const char* at, std::size_t length) {
  Gathered& g = gathered(parser);
  if (g.fieldOpen) closeHeader(g);
  g.field.append(at, length);
  return 0;
}

int onHeaderValue(http_parser* parser, const char* at, std::size_t length) {
  Gathered& g = gathered(parser);
  g.fieldOpen = true;
  g.value.append(at, length);
  return 0;
}

// 1 tells the parser that no body follows.
int onHeadersComplete(http_parser* parser) {
  Gathered& g = gathered(parser);
  closeHeader(g);
  g.response.status = static_cast<int>(parser->status_code);
  g.headersDone = true;
  return g.headOnly ? 1 : 0;
}

int onBody(http_parser* parser, const char* at, std::size_t length) {
  Gathered& g = gathered(parser);
  g.tooLarge = length > g.limit - g.response.body.size();
  if (g.tooLarge) return 1;
  g.response.body.append(at, length);
  return 0;
}

// Interim responses (100 Continue) precede the one that counts; behind that one nothing is read.
int onMessageComplete(http_parser* parser) {
  Gathered& g = gathered(parser);
  if (g.response.status / 100 == 1) return 0;
  g.complete = true;
  http_parser_pause(parser, 1);
  return 0;
}

http_parser_settings callbacks() {
  http_parser_settings settings;
  http_parser_settings_init(&settings);
  settings.on_message_begin = onMessageBegin;
  settings.on_header_field = onHeaderField;
  settings.on_header_value = onHeaderValue;
  settings.on_headers_complete = onHeadersComplete;
  settings.on_body = onBody;
  settings.on_message_complete = onMessageComplete;
  return settings;
}

InputError notHttp(const char* why) {
  return InputError(std::string("is no HTTP response: ") + why);
}

InputError bodyTooLarge(std::size_t limit) {
  return InputError("its body is larger than " + std::to_string(limit) + " bytes");
}

// Archivers that speak HTTP/2 write its version on a message of HTTP/1's form, which the parser refuses.
std::string asVersion1(std::string_view message) {
  for (const std::string_view version : {"HTTP/2 ", "HTTP/3 ", "HTTP/2.0 ", "HTTP/3.0 "}) {
    if (message.substr(0, version.size()) == version) {
      return "HTTP/1.1 " + std::string(message.substr(version.size()));
    }
  }
  return {};
}

std::string_view behindHeaders(std::string_view message) {
  const std::size_t crlf = message.find("\r\n\r\n");
  const std::size_t lf = message.find("\n\n");
  if (crlf < lf) return message.substr(crlf + 4);
  return lf == std::string_view::npos ? std::string_view() : message.substr(lf + 2);
}

Gathered run(std::string_view original, std::size_t limit, bool headOnly) {
  const std::string rewritten = asVersion1(original);
  const std::string_view message = rewritten.empty() ? original : std::string_view(rewritten);
  Gathered g;
  g.limit = limit;
  g.headOnly = headOnly;
  http_parser parser;
  http_parser_init(&parser, HTTP_RESPONSE);
  parser.data = &g;
  parser.lenient_http_headers = 1;  // pages come with odd header values, and must be judged all the same
  parser.allow_chunked_length = 1;
  const http_parser_settings settings = callbacks();
  http_parser_execute(&parser, &settings, message.data(), message.size());
  http_errno error = HTTP_PARSER_ERRNO(&parser);
  if (g.complete) return g;
  if (error == HPE_OK) {
    http_parser_execute(&parser, &settings, nullptr, 0);  // the end of the message
    error = HTTP_PARSER_ERRNO(&parser);
    if (g.complete || g.headersDone) return g;  // a body that was cut short is judged as far as it goes
    throw notHttp("it ends inside its headers");
  }
  if (g.tooLarge) throw bodyTooLarge(limit);
  if (!g.headersDone) throw notHttp(http_errno_description(error));
  // Chunks were announced, and none was found: the archiver has joined them already.
  if (error == HPE_INVALID_CHUNK_SIZE && g.response.body.empty()) {
    const std::string_view body = behindHeaders(message);
    if (body.size() > limit) throw bodyTooLarge(limit);
    g.response.body = std::string(body);
    return g;
  }
  throw InputError(std::string("its body is damaged: ") + http_errno_description(error));
}

std::string inflated(const std::string& body, GzipStream::Format format, std::size_t limit) {
  GzipStream stream(std::make_unique<MemoryStream>(body), format);
  std::string plain;
  bool tooLarge = false;
  char block[16 * 1024];
  try {
    while (const std::size_t got = stream.read(block, sizeof block)) {
      tooLarge = got > limit - plain.size();
      if (tooLarge) break;
      plain.append(block, got);
    }
  } catch (const InputError&) {
    if (plain.empty()) throw;
    return plain;  // cut short: judged as far as it goes
  }
  if (tooLarge) throw bodyTooLarge(limit);
  return plain;
}

bool startsLikeGzip(const std::string& body) {
  return body.compare(0, 2, "\x1f\x8b") == 0;
}

// "deflate" means zlib's format, and often comes without its two header bytes.
bool startsLikeZlib(const std::string& body) {
  if (body.size() < 2) return false;
  const unsigned first = static_cast<unsigned char>(body[0]);
  const unsigned second = static_cast<unsigned char>(body[1]);
  return (first & 0x0fU) == 8 && (first * 256 + second) % 31 == 0;
}

std::string undoEncoding(std::string body, std::string_view encoding, std::size_t limit) {
  if (body.empty() || encoding.empty() || asciiEqual(encoding, "identity")) return body;
  if (asciiEqual(encoding, "gzip") || asciiEqual(encoding, "x-gzip")) {
    return startsLikeGzip(body) ? inflated(body, GzipStream::Format::Gzip, limit) : body;
  }
  if (asciiEqual(encoding, "deflate")) {
    if (startsLikeZlib(body)) return inflated(body, GzipStream::Format::Zlib, limit);
    try {
      return inflated(body, GzipStream::Format::RawDeflate, limit);
    } catch (const InputError&) {
      return body;  // in clear, as the archiver left it
    }
  }
  throw InputError("its content encoding \"" + std::string(encoding) +
                   "\" is not known (gzip and deflate are)");
}

}  // namespace

std::string mediaTypeOf(std::string_view contentType) {
  return asciiLower(asciiTrim(contentType.substr(0, contentType.find(';'))));
}

std::string charsetOf(std::string_view contentType) {
  std::size_t at = contentType.find(';');
  while (at != std::string_view::npos) {
    const std::size_t end = contentType.find(';', at + 1);
    const std::string_view parameter =
        contentType.substr(at + 1, end == std::string_view::npos ? end : end - at - 1);
    const std::size_t equals = parameter.find('=');
    if (equals != std::string_view::npos && asciiEqual(asciiTrim(parameter.substr(0, equals)), "charset")) {
      std::string_view value = asciiTrim(parameter.substr(equals + 1));
      while (!value.empty() && (value.front() == '"' || value.front() == '\'')) value.remove_prefix(1);
      while (!value.empty() && (value.back() == '"' || value.back() == '\'')) value.remove_suffix(1);
      return std::string(value);
    }
    at = end;
  }
  return {};
}

bool isHtmlMediaType(std::string_view mediaType) {
  return mediaType == "text/html" || mediaType == "application/xhtml+xml";
}

HttpResponse parseHttpHead(std::string_view message) {
  return run(message, 0, true).response;
}

HttpResponse parseHttpResponse(std::string_view message, std::size_t limit) {
  Gathered g = run(message, limit, false);
  std::vector<std::string_view> encodings;  // in the order in which they were applied
  const std::string list = g.contentEncoding;
  for (std::size_t at = 0; at <= list.size();) {
    const std::size_t end = std::min(list.find(',', at), list.size());
    encodings.push_back(asciiTrim(std::string_view(list).substr(at, end - at)));
    at = end + 1;
  }
  if (encodings.size() > kMaxContentEncodings) throw InputError("has too many content encodings");
  for (auto encoding = encodings.rbegin(); encoding != encodings.rend(); ++encoding) {
    g.response.body = undoEncoding(std::move(g.response.body), *encoding, limit);
  }
  return std::move(g.response);
}

}  // namespace sifterra::tools
