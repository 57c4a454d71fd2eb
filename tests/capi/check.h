/* check.h: what a C test program needs: a check that tells its line, and whether memory has been freed. */
#ifndef SIFTERRA_TESTS_CAPI_CHECK_H
#define SIFTERRA_TESTS_CAPI_CHECK_H

#include <stdio.h>
#include <string.h>

static int failures = 0;

#define CHECK(condition)                                                        \
  do {                                                                          \
    if (!(condition)) {                                                         \
      fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                               \
    }                                                                           \
  } while (0)

#define CHECK_TEXT(text, expected)                                               \
  do {                                                                           \
    const char* actualText = (text);                                             \
    if (!actualText || strcmp(actualText, (expected)) != 0) {                    \
      fprintf(stderr, "%s:%d: is \"%s\", expected \"%s\"\n", __FILE__, __LINE__, \
              actualText ? actualText : "NULL", (expected));                     \
      ++failures;                                                                \
    }                                                                            \
  } while (0)

/* A decoded page may begin with a remark for the parser. */
#define CHECK_PAGE(page, expected)                                                   \
  do {                                                                               \
    WFStringRef decodedPage = (page);                                                \
    const size_t allBytes = WFStringGetUTF8Length(decodedPage);                      \
    const size_t pageBytes = strlen(expected);                                       \
    CHECK(allBytes >= pageBytes);                                                    \
    if (allBytes >= pageBytes) {                                                     \
      CHECK_TEXT(WFStringGetUTF8(decodedPage) + (allBytes - pageBytes), (expected)); \
    }                                                                                \
  } while (0)

/* There only in a program that is built with AddressSanitizer. */
extern int __asan_address_is_poisoned(void const volatile* address) __attribute__((weak));

/* Whether the memory is known to have been freed: 0 without AddressSanitizer, which alone can tell. */
#define CAN_TELL_FREED (__asan_address_is_poisoned != NULL)
#define CHECK_FREED(address) CHECK(!CAN_TELL_FREED || __asan_address_is_poisoned(address))
#define CHECK_ALIVE(address) CHECK(!CAN_TELL_FREED || !__asan_address_is_poisoned(address))

#endif
