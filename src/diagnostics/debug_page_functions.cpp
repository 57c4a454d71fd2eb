// debug_page_functions: the debug page for C callers.
#include "diagnostics/compose_debug_page.h"
#include "platform/CHandles.h"
#include "platform/ReleaseScope.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"

extern "C" {

WFStringRef ComposeDebugPage(WFDataRef page, WFURLRef url, WFStringRef strippedPage, WFStringRef wordDump,
                             WFStringRef debugMessage, signed char restricted) {
  using namespace sifterra::platform;
  return sifterra::guarded("ComposeDebugPage", WFStringRef{nullptr}, [&] {
    const ReleaseScope::Call call;
    const sifterra::DebugPageFacts facts{stringFromHandle(strippedPage), stringFromHandle(wordDump),
                                         stringFromHandle(debugMessage), restricted != 0};
    return borrowedHandle(sifterra::composeDebugPage(dataFromHandle(page), urlFromHandle(url), facts));
  });
}

WFDataRef ComposeDebugPageSimple(WFDataRef page, WFURLRef url, WFStringRef debugMessage) {
  using namespace sifterra::platform;
  return sifterra::guarded("ComposeDebugPageSimple", WFDataRef{nullptr}, [&] {
    const ReleaseScope::Call call;
    return borrowedHandle(sifterra::composeDebugPageSimple(dataFromHandle(page), urlFromHandle(url),
                                                           stringFromHandle(debugMessage)));
  });
}

}  // extern "C"
