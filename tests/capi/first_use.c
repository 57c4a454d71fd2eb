/* first_use.c: convention 8 of sifterra.h: eight threads call the library at once, the first calls of the
 * process. Built with ThreadSanitizer, the program also sees what they do to each other. */
#define _POSIX_C_SOURCE 200809L

#include "sifterra/sifterra.h"

#include <pthread.h>
#include <stdlib.h>

#include "check.h"

enum { kThreads = 8, kRounds = 25 };

static const char kAdult[] =
    "<title>Videos</title><p>xxx porn nude erotic escort webcam sexy videos hardcore adult xxx porn nude "
    "erotic";
static const char kHarmless[] =
    "<title>The museum</title><p>weather school garden recipe library football science history teacher "
    "homework";

static pthread_barrier_t start;
static WFStringRef sharedContent; /* one object for all */

/* NULL when all went well. */
static void* judge(void* argument) {
  const size_t number = (size_t)argument;
  const int adult = number % 2 == 0;
  void* failed = NULL;
  pthread_barrier_wait(&start);
  for (int round = 0; round < kRounds; ++round) {
    WFReleaseScopeBegin();
    WFStringRef title = NULL;
    WFStringRef message = NULL;
    WFStringRef own = WFStringCreateWithUTF8(kHarmless);
    if (WFIsWebPageExplicit(adult ? sharedContent : own, NULL, &title, &message) != adult) failed = argument;
    if (!title || strcmp(WFStringGetUTF8(title), adult ? "Videos" : "The museum") != 0) failed = argument;
    if (!message || WFStringGetUTF8Length(message) == 0) failed = argument;
    if (strcmp(WFStringGetUTF8(sharedContent), kAdult) != 0) failed = argument;
    WFRelease(own);
    WFReleaseScopeEnd();
  }
  return failed;
}

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  pthread_t threads[kThreads];
  CHECK(pthread_barrier_init(&start, NULL, kThreads) == 0);
  sharedContent = WFStringCreateWithUTF8(kAdult);
  for (size_t i = 0; i < kThreads; ++i) {
    /* Numbered from 2: a null argument would look like success. */
    CHECK(pthread_create(&threads[i], NULL, judge, (void*)(i + 2)) == 0);
  }
  for (size_t i = 0; i < kThreads; ++i) {
    void* failed = NULL;
    CHECK(pthread_join(threads[i], &failed) == 0);
    CHECK(failed == NULL);
  }
  WFRelease(sharedContent);
  pthread_barrier_destroy(&start);
  return failures != 0;
}
