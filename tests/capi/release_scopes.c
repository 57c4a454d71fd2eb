/* release_scopes.c: the conventions 3, 4, 5 and 6 of sifterra.h, from C.
 *
 * Built with AddressSanitizer, the program also sees that what should have been freed was. */
#define _POSIX_C_SOURCE 200809L

#include "sifterra/sifterra.h"

#include <pthread.h>
#include <stdlib.h>
#include <sys/resource.h>

#include "check.h"

/* A borrowed reference. */
static WFStringRef decode(const char* text) {
  WFDataRef data = WFDataCreate(text, strlen(text));
  WFStringRef page = WFDecodePage(data, NULL);
  WFRelease(data);
  return page;
}

static void aBorrowedReferenceLivesUntilItsScopeEnds(void) {
  WFReleaseScopeBegin();
  WFStringRef page = decode("page");
  for (int i = 0; i < 100; ++i) (void)decode("another");
  CHECK_ALIVE(page);
  CHECK_PAGE(page, "page");
  WFReleaseScopeEnd();
  CHECK_FREED(page);
}

static void anOutPointerIsBorrowedToo(void) {
  WFReleaseScopeBegin();
  WFStringRef title = NULL;
  WFStringRef message = NULL;
  WFStringRef content = WFStringCreateWithUTF8("<title>T</title>little");
  (void)WFIsWebPageExplicit(content, NULL, &title, &message);
  WFRelease(content);
  CHECK_TEXT(WFStringGetUTF8(title), "T");
  CHECK_TEXT(WFStringGetUTF8(message), "Page not analyzed: too little content found");
  WFReleaseScopeEnd();
  CHECK_FREED(title);
  CHECK_FREED(message);
}

static void scopesNest(void) {
  WFReleaseScopeBegin();
  WFStringRef outer = decode("outer");
  WFReleaseScopeBegin();
  WFStringRef inner = decode("inner");
  WFReleaseScopeEnd();
  CHECK_FREED(inner);
  CHECK_ALIVE(outer);
  CHECK_PAGE(outer, "outer");
  WFReleaseScopeEnd();
  CHECK_FREED(outer);
}

static void withoutAScopeTheNextSuchCallEndsIt(void) {
  WFStringRef first = decode("first");
  CHECK_PAGE(first, "first");
  WFStringRef second = decode("second");
  CHECK_FREED(first);
  CHECK_PAGE(second, "second");
}

static void readingRetainingAndReleasingEndNothing(void) {
  WFStringRef borrowed = decode("borrowed");
  WFStringRef other = WFStringCreateWithUTF8("other");
  (void)WFStringGetUTF8(other);
  (void)WFStringGetLength(borrowed);
  WFRelease(WFRetain(borrowed));
  WFRelease(other);
  (void)WFVersion();
  CHECK_ALIVE(borrowed);
  CHECK_PAGE(borrowed, "borrowed");
}

/* What one call handed out may be an argument of the next one. */
static void aBorrowedReferenceIsAGoodArgument(void) {
  WFStringRef title = NULL;
  WFStringRef message = NULL;
  (void)WFIsWebPageExplicit(decode("<title>T</title>little"), NULL, &title, &message);
  CHECK_TEXT(WFStringGetUTF8(title), "T");
  (void)WFIsWebPageExplicit(title, message, &title, &message);
  CHECK(title == NULL);
  CHECK_TEXT(WFStringGetUTF8(message), "Page not analyzed: too little content found");
}

static void aRetainedReferenceOutlivesItsScope(void) {
  WFReleaseScopeBegin();
  WFStringRef kept = WFRetain(decode("kept"));
  WFReleaseScopeEnd();
  CHECK_ALIVE(kept);
  CHECK_PAGE(kept, "kept");
  WFRelease(kept);
  CHECK_FREED(kept);
}

static void oneEndTooManyIsLeftAlone(void) {
  WFStringRef borrowed = decode("borrowed");
  WFReleaseScopeEnd();
  CHECK_PAGE(borrowed, "borrowed");
}

static long residentMegabytes(void) {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024;
}

/* More than 800 MB handed out in all. AddressSanitizer itself keeps up to 256 MiB of what was freed. */
static void nothingAccumulatesWithoutAScope(void) {
  enum { kPage = 1024 * 1024, kCalls = 400 };
  char* bytes = malloc(kPage);
  memset(bytes, 'x', kPage);
  WFDataRef data = WFDataCreate(bytes, kPage);
  free(bytes);
  const long before = residentMegabytes();
  for (int i = 0; i < kCalls; ++i) CHECK(WFStringGetLength(WFDecodePage(data, NULL)) >= kPage);
  WFRelease(data);
  CHECK(residentMegabytes() - before < 600);
  (void)decode("small");
}

static void* borrowAndLeave(void* result) {
  WFReleaseScopeBegin();
  WFStringRef* borrowed = result;
  borrowed[0] = decode("in a scope that stays open");
  return NULL;
}

static void* borrowWithoutAScopeAndLeave(void* result) {
  WFStringRef* borrowed = result;
  WFReleaseScopeEnd(); /* not the other thread's */
  borrowed[1] = decode("without a scope");
  return NULL;
}

static void aThreadsReferencesEndWithIt(void) {
  WFStringRef borrowed[2] = {NULL, NULL};
  pthread_t threads[2];
  WFReleaseScopeBegin();
  WFStringRef here = decode("here");
  CHECK(pthread_create(&threads[0], NULL, borrowAndLeave, borrowed) == 0);
  CHECK(pthread_create(&threads[1], NULL, borrowWithoutAScopeAndLeave, borrowed) == 0);
  for (int i = 0; i < 2; ++i) pthread_join(threads[i], NULL);
  CHECK_FREED(borrowed[0]);
  CHECK_FREED(borrowed[1]);
  CHECK_PAGE(here, "here");
  WFReleaseScopeEnd();
}

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  aBorrowedReferenceLivesUntilItsScopeEnds();
  anOutPointerIsBorrowedToo();
  scopesNest();
  withoutAScopeTheNextSuchCallEndsIt();
  readingRetainingAndReleasingEndNothing();
  aBorrowedReferenceIsAGoodArgument();
  aRetainedReferenceOutlivesItsScope();
  oneEndTooManyIsLeftAlone();
  nothingAccumulatesWithoutAScope();
  aThreadsReferencesEndWithIt();
  return failures != 0;
}
