/* debug_page.c: the debug page from C, with a template of the test's own. */
#define _POSIX_C_SOURCE 200809L
#include "sifterra/sifterra.h"

#include <stdlib.h>
#include <sys/stat.h>

#include "check.h"

static void writeTemplate(void) {
  static const char* const parts[] = {"/Library", "/Application Support", "/Vendrel", "/Wardenry",
                                      "/ContentFiltering"};
  char path[4096];
  FILE* file;
  size_t length = (size_t)snprintf(path, sizeof path, "%s", SIFTERRA_TEST_ROOT);
  for (size_t i = 0; i < sizeof parts / sizeof parts[0]; ++i) {
    length += (size_t)snprintf(path + length, sizeof path - length, "%s", parts[i]);
    mkdir(path, 0755);
  }
  snprintf(path + length, sizeof path - length, "/debugpageheader.html");
  file = fopen(path, "w");
  CHECK(file != NULL);
  if (!file) exit(1);
  fputs("{FILTER_MESSAGE FILTER_FLAG_COLOR DEBUG_MESSAGE STRIPPED_PAGE WORD_DUMP}", file);
  fclose(file);
}

static void pagesAreComposed(void) {
  WFDataRef page = WFDataCreate("<body>x", 7);
  WFURLRef url = WFURLCreateWithUTF8("http://example.com/");
  WFStringRef text = WFStringCreateWithUTF8("a b\nc");
  WFReleaseScopeBegin();
  CHECK_TEXT(WFStringGetUTF8(ComposeDebugPage(page, url, text, text, text, 0)),
             "<body>{Allowed green a&nbsp;b\nc a b<br>\nc a&nbsp;b<br>\nc}x");
  CHECK_TEXT(WFStringGetUTF8(ComposeDebugPage(page, NULL, NULL, NULL, NULL, 1)),
             "<body>{Restricted red  STRIPPED_PAGE WORD_DUMP}x");
  CHECK(ComposeDebugPage(NULL, url, text, text, text, 0) == NULL);
  WFReleaseScopeEnd();
  WFRelease(text);
  WFRelease(url);
  WFRelease(page);
}

static void theSimpleFormComposesBytes(void) {
  static const char expected[] = "<body>{Restricted red why ";
  WFDataRef page = WFDataCreate("<body>plain words", 17);
  WFStringRef message = WFStringCreateWithUTF8("why");
  WFDataRef composed;
  WFReleaseScopeBegin();
  composed = ComposeDebugPageSimple(page, NULL, message);
  CHECK(WFDataGetLength(composed) > sizeof expected &&
        memcmp(WFDataGetBytes(composed), expected, sizeof expected - 1) == 0);
  CHECK(ComposeDebugPageSimple(NULL, NULL, message) == NULL);
  WFReleaseScopeEnd();
  WFRelease(message);
  WFRelease(page);
}

static void theDebugLevelIsKept(void) {
  WFDataRef page = WFDataCreate("<p src SRC>", 11);
  CHECK(WFDebugLevel() == 0);
  WFSetDebugLevel(2);
  CHECK(WFDebugLevel() == 2);
  WFReleaseScopeBegin();
  CHECK_TEXT(WFStringGetUTF8(ComposeDebugPage(page, NULL, NULL, NULL, NULL, 1)), "<p OFF OFF>");
  WFReleaseScopeEnd();
  WFSetDebugLevel(0);
  WFRelease(page);
}

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  writeTemplate();
  pagesAreComposed();
  theSimpleFormComposesBytes();
  theDebugLevelIsKept();
  return failures != 0;
}
