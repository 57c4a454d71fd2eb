// log_page_verdict.h: the debug line about a page that was judged by its content.
#pragma once

#include "sifterra/text/WFWebPageToFilterText.h"
#include "sifterra/verdict/WFVerdict.h"

namespace sifterra {

// As the operation named op.
void logPageVerdict(const char* op, const WFVerdict& verdict, const WFWebPageToFilterText& page);

}  // namespace sifterra
