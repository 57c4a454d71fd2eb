/* handles.c: the conventions 1, 2, 6, 7 and 9 of sifterra.h, from C. */
#include "sifterra/sifterra.h"

#include "check.h"

static void nullStandsForNone(void) {
  CHECK(WFStringCreateWithUTF8(NULL) == NULL);
  CHECK(WFStringGetUTF8(NULL) == NULL);
  CHECK(WFStringGetUTF8Length(NULL) == 0);
  CHECK(WFStringGetLength(NULL) == 0);
  CHECK(WFURLCreateWithUTF8(NULL) == NULL);
  CHECK(WFURLGetUTF8(NULL) == NULL);
  CHECK(WFURLGetUTF8Length(NULL) == 0);
  CHECK(WFDataGetBytes(NULL) == NULL);
  CHECK(WFDataGetLength(NULL) == 0);
  CHECK(WFRetain(NULL) == NULL);
  WFRelease(NULL);
}

static void createGivesAReferenceOfOnesOwn(void) {
  WFStringRef string = WFStringCreateWithUTF8("page");
  WFURLRef url = WFURLCreateWithUTF8("http://example.com/");
  WFDataRef data = WFDataCreate("bytes", 5);
  CHECK_TEXT(WFStringGetUTF8(string), "page");
  CHECK_TEXT(WFURLGetUTF8(url), "http://example.com/");
  CHECK(WFDataGetLength(data) == 5 && memcmp(WFDataGetBytes(data), "bytes", 5) == 0);
  WFRelease(string);
  WFRelease(url);
  WFRelease(data);
  CHECK_FREED(string);
  CHECK_FREED(url);
  CHECK_FREED(data);
}

/* No scope holds what was created: ending one does not end it. */
static void scopesDoNotEndWhatWasCreated(void) {
  WFReleaseScopeBegin();
  WFStringRef string = WFStringCreateWithUTF8("kept");
  WFReleaseScopeEnd();
  CHECK_ALIVE(string);
  CHECK_TEXT(WFStringGetUTF8(string), "kept");
  WFRelease(string);
}

static void retainAddsAReferenceAndReleaseDropsOne(void) {
  const void* objects[3];
  objects[0] = WFStringCreateWithUTF8("a");
  objects[1] = WFURLCreateWithUTF8("http://a/");
  objects[2] = WFDataCreate("a", 1);
  for (size_t i = 0; i < 3; ++i) {
    CHECK(WFRetain(objects[i]) == objects[i]);
    WFRelease(objects[i]);
    CHECK_ALIVE(objects[i]);
    WFRelease(objects[i]);
    CHECK_FREED(objects[i]);
  }
}

static void textLivesAsLongAsItsObject(void) {
  WFStringRef string = WFStringCreateWithUTF8("text");
  WFURLRef url = WFURLCreateWithUTF8("http://example.com/a/rather/long/address");
  WFDataRef data = WFDataCreate("a rather long run of bytes, on the heap", 39);
  const char* text = WFStringGetUTF8(string);
  const char* address = WFURLGetUTF8(url);
  const void* bytes = WFDataGetBytes(data);
  CHECK(WFStringGetUTF8(string) == text);
  CHECK(WFURLGetUTF8(url) == address);
  CHECK(WFDataGetBytes(data) == bytes);
  WFReleaseScopeBegin();
  WFReleaseScopeEnd();
  CHECK_TEXT(text, "text");
  CHECK_TEXT(address, "http://example.com/a/rather/long/address");
  CHECK(memcmp(bytes, "a rather long run", 17) == 0);
  WFRelease(string);
  WFRelease(url);
  WFRelease(data);
  CHECK_FREED(text);
  CHECK_FREED(address);
  CHECK_FREED(bytes);
}

static void lengthsAreTold(void) {
  static const uint16_t units[] = {0x47, 0xFC, 0xD83D, 0xDE00}; /* G, u umlaut, a face */
  WFStringRef fromUnits = WFStringCreateWithUTF16(units, 4);
  WFStringRef fromBytes = WFStringCreateWithUTF8Bytes("G\xC3\xBC\xF0\x9F\x98\x80", 7);
  CHECK(WFStringGetLength(fromUnits) == 4);
  CHECK(WFStringGetLength(fromBytes) == 4);
  CHECK(WFStringGetUTF8Length(fromUnits) == 7);
  CHECK_TEXT(WFStringGetUTF8(fromUnits), WFStringGetUTF8(fromBytes));
  WFRelease(fromUnits);
  WFRelease(fromBytes);

  WFStringRef withZero = WFStringCreateWithUTF8Bytes("a\0b", 3);
  CHECK(WFStringGetLength(withZero) == 3);
  CHECK(WFStringGetUTF8Length(withZero) == 3);
  CHECK(memcmp(WFStringGetUTF8(withZero), "a\0b", 4) == 0); /* and a final zero */
  WFRelease(withZero);
}

static void whatIsNotWellFormedIsNull(void) {
  CHECK(WFStringCreateWithUTF8("\xFF") == NULL);
  CHECK(WFStringCreateWithUTF8Bytes("\xC3", 1) == NULL);
  CHECK(WFURLCreateWithUTF8("not a url") == NULL);
}

static void exportedDataIsThere(void) {
  CHECK_TEXT(WFStringGetUTF8(WFWebPageToTrainingText_Category1), "ooooooooooooCategory1oooooooooooo");
  WFRelease(WFWebPageToTrainingText_Category1); /* not counted, never freed */
  WFRelease(WFWebPageToTrainingText_Category1);
  CHECK(WFStringGetLength(WFWebPageToTrainingText_Category1) == 33);
  CHECK(kWFImgDimensionUnknown == -1);
}

static void answersAreZeroOrOne(void) {
  WFLogRef log = OSLogForCategory("WebFilter");
  CHECK(log != NULL);
  CHECK(OSLogForCategory("WebFilter") == log);
  CHECK(OSLogForCategory(NULL) != NULL);
  WFSetLogLevel(WFLogLevelError);
  CHECK(WFLogEnabled(log, WFLogLevelError) == 1);
  CHECK(WFLogEnabled(log, WFLogLevelInfo) == 0);
  WFSetLogLevel(WFLogLevelDefault);
}

static void theVersionIsTheHeaders(void) {
  CHECK_TEXT(WFVersion(), SIFTERRA_VERSION);
  WFSetDebugLevel(-3);
  CHECK(WFDebugLevel() == -3);
  WFSetDebugLevel(0);
}

int main(void) {
  nullStandsForNone();
  createGivesAReferenceOfOnesOwn();
  scopesDoNotEndWhatWasCreated();
  retainAddsAReferenceAndReleaseDropsOne();
  textLivesAsLongAsItsObject();
  lengthsAreTold();
  whatIsNotWellFormedIsNull();
  exportedDataIsThere();
  answersAreZeroOrOne();
  theVersionIsTheHeaders();
  return failures != 0;
}
