// parse_html: the options silence the parser itself, but not its character decoders, which report to the
// thread's global handlers. Those belong to the host program, so they are swapped for the parse only.
#include "page/parse_html.h"

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <climits>
#include <memory>
#include <mutex>
#include <new>

#include "page/page_tree.h"

namespace sifterra {

static_assert(kHTMLParseOptions == (HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));

namespace {

extern "C" {
static void ignoreMessage(void*, const char*, ...) {}
static void ignoreError(void*, xmlErrorPtr) {}
}

// Once before the first parse: libxml2 builds its tables of encodings and default handlers here, and
// threads that parse at the same time must all find them complete.
void initialiseParser() {
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });
}

// While one lives, libxml2 reports nothing on this thread. All these variables are per thread.
class QuietParser {
 public:
  QuietParser()
      : message_(xmlGenericError),
        messageContext_(xmlGenericErrorContext),
        error_(xmlStructuredError),
        errorContext_(xmlStructuredErrorContext),
        lastError_(xmlLastError) {
    xmlLastError = xmlError{};  // its strings now belong to lastError_
    xmlGenericError = ignoreMessage;
    xmlGenericErrorContext = nullptr;
    xmlStructuredError = ignoreError;
    xmlStructuredErrorContext = nullptr;
  }
  ~QuietParser() {
    xmlResetLastError();
    xmlLastError = lastError_;
    xmlGenericError = message_;
    xmlGenericErrorContext = messageContext_;
    xmlStructuredError = error_;
    xmlStructuredErrorContext = errorContext_;
  }
  QuietParser(const QuietParser&) = delete;
  QuietParser& operator=(const QuietParser&) = delete;

 private:
  xmlGenericErrorFunc message_;
  void* messageContext_;
  xmlStructuredErrorFunc error_;
  void* errorContext_;
  xmlError lastError_;
};

struct FreeContext {
  void operator()(xmlParserCtxt* context) const noexcept { xmlFreeParserCtxt(context); }
};

}  // namespace

// The steps of htmlReadMemory, with the tree built elsewhere.
HTMLDocument parseHTML(std::string_view bytes, const char* encoding) {
  if (bytes.empty() || bytes.size() > INT_MAX) return nullptr;
  initialiseParser();
  const QuietParser quiet;
  const std::unique_ptr<xmlParserCtxt, FreeContext> context(
      xmlCreateMemoryParserCtxt(bytes.data(), static_cast<int>(bytes.size())));
  if (context == nullptr) throw std::bad_alloc();
  context->sax->initialized = 0;
  xmlSAX2InitHtmlDefaultSAXHandler(context->sax);
  PageTree tree(context.get());
  htmlCtxtUseOptions(context.get(), kHTMLParseOptions);
  context->html = 1;
  xmlCharEncodingHandler* const decoder =
      encoding != nullptr ? xmlFindCharEncodingHandler(encoding) : nullptr;
  if (decoder != nullptr) {
    xmlSwitchToEncoding(context.get(), decoder);
    xmlFree(const_cast<xmlChar*>(context->input->encoding));
    context->input->encoding = xmlStrdup(reinterpret_cast<const xmlChar*>(encoding));
  }
  htmlParseDocument(context.get());
  HTMLDocument document(tree.finish());
  if (tree.failed()) throw std::bad_alloc();
  return document;
}

void FreeHTML::operator()(_xmlDoc* document) const noexcept {
  freePageTree(document);
}

}  // namespace sifterra
