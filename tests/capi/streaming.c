/* streaming.c: the evaluator from C, for a user with a preference file of the test's own. */
#define _POSIX_C_SOURCE 200809L
#include "sifterra/sifterra.h"

#include <stdlib.h>
#include <sys/stat.h>

#include "check.h"

#define ADULT                                                                                            \
  "<title>Videos</title><p>xxx porn nude erotic escort webcam sexy videos hardcore adult xxx porn nude " \
  "erotic"
#define HARMLESS                                                                                       \
  "<title>The museum</title><p>weather school garden recipe library football science history teacher " \
  "homework museum kitchen"
#define ERROR_PAGE                                                                                         \
  "<html> <head><title>Error composing block page</title></head> <body>Error composing block page</body> " \
  "</html>"

static const char kPreferences[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict><key>restrictWeb</key><true/>"
    "<key>useContentFilter</key><true/></dict></plist>";

static void writePreferences(void) {
  static const char* const directories[] = {"/Library", "/Library/Managed Preferences",
                                            "/Library/Managed Preferences/streaming-child"};
  char path[4096];
  FILE* file;
  for (size_t i = 0; i < sizeof directories / sizeof directories[0]; ++i) {
    snprintf(path, sizeof path, "%s%s", SIFTERRA_TEST_ROOT, directories[i]);
    mkdir(path, 0755);
  }
  snprintf(path, sizeof path, "%s%s/com.vendrel.hearthguard.contentfilter.plist", SIFTERRA_TEST_ROOT,
           directories[2]);
  file = fopen(path, "w");
  CHECK(file != NULL);
  if (!file) exit(1);
  fputs(kPreferences, file);
  fclose(file);
}

/* The body in chunks, the way a program does it; the bytes passed on, zero-terminated, in `passedOn`. */
static signed char stream(const char* body, size_t chunk, char* passedOn, size_t room) {
  WFURLRef url = WFURLCreateWithUTF8("http://site.example.com/");
  WFStringRef user = WFStringCreateWithUTF8("streaming-child");
  WebFilterEvaluatorRef evaluator = WebFilterEvaluatorCreateWithResponseForUser(url, user);
  const size_t length = strlen(body);
  size_t at = 0;
  size_t used = 0;
  signed char blocked;
  CHECK(evaluator != NULL);
  while (at < length && WebFilterEvaluatorFilterState(evaluator) == WebFilterStateBuffering) {
    const size_t size = length - at < chunk ? length - at : chunk;
    WFDataRef data = WFDataCreate(body + at, size);
    WFDataRef bytes;
    WFReleaseScopeBegin();
    bytes = WebFilterEvaluatorAddData(evaluator, data);
    CHECK(bytes && (WFDataGetLength(bytes) == 0 || WebFilterEvaluatorFilterState(evaluator) != 2));
    WFReleaseScopeEnd();
    WFRelease(data);
    at += size;
  }
  if (WebFilterEvaluatorFilterState(evaluator) == WebFilterStateBuffering) {
    WFDataRef bytes;
    WFReleaseScopeBegin();
    bytes = WebFilterEvaluatorDataComplete(evaluator);
    used = WFDataGetLength(bytes);
    CHECK(used < room);
    memcpy(passedOn, WFDataGetBytes(bytes), used);
    WFReleaseScopeEnd();
  }
  passedOn[used] = '\0';
  blocked = WebFilterEvaluatorWasBlocked(evaluator);
  CHECK(WebFilterEvaluatorFilterState(evaluator) ==
        (blocked ? WebFilterStateBlocked : WebFilterStateAllowed));
  WebFilterEvaluatorRelease(evaluator);
  WFRelease(user);
  WFRelease(url);
  return blocked;
}

static void pagesAreStreamed(void) {
  static const size_t chunks[] = {1, 7, 100, 100000};
  char passedOn[4096];
  for (size_t i = 0; i < sizeof chunks / sizeof chunks[0]; ++i) {
    CHECK(stream(HARMLESS, chunks[i], passedOn, sizeof passedOn) == 0);
    CHECK_TEXT(passedOn, HARMLESS);
    /* This resource directory has no templates. */
    CHECK(stream(ADULT, chunks[i], passedOn, sizeof passedOn) == 1);
    CHECK_TEXT(passedOn, ERROR_PAGE);
  }
}

static void nullTakesPartInNothing(void) {
  WFDataRef data = WFDataCreate("x", 1);
  WFStringRef nobody = WFStringCreateWithUTF8("streaming-nobody");
  CHECK(WebFilterEvaluatorCreateWithResponseForUser(NULL, NULL) == NULL);
  CHECK(WebFilterEvaluatorCreateWithResponseForUser(NULL, nobody) == NULL);
  CHECK(WebFilterEvaluatorAddData(NULL, data) == NULL);
  CHECK(WebFilterEvaluatorDataComplete(NULL) == NULL);
  CHECK(WebFilterEvaluatorFilterState(NULL) == WebFilterStateAllowed);
  CHECK(WebFilterEvaluatorWasBlocked(NULL) == 0);
  WebFilterEvaluatorRelease(NULL);
  WFRelease(nobody);
  WFRelease(data);
}

/* Whoever runs the tests has no preferences below this root. */
static void theCurrentUserIsNotRestricted(void) {
  WFURLRef url = WFURLCreateWithUTF8("http://site.example.com/");
  CHECK(WebFilterEvaluatorIsManagedSession() == 0);
  CHECK(WebFilterEvaluatorCreateWithResponse(url) == NULL);
  WFRelease(url);
}

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  writePreferences();
  pagesAreStreamed();
  nullTakesPartInNothing();
  theCurrentUserIsNotRestricted();
  return failures != 0;
}
