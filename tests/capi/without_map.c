/* without_map.c: convention 10 of sifterra.h: without its map the library restricts nothing and tells so. */
#include "sifterra/sifterra.h"

#include "check.h"

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  WFStringRef before = WFStringCreateWithUTF8("before");
  WFStringRef content = WFStringCreateWithUTF8("<meta name='rating' content='RTA-5042-1996-1400-1577-RTA'>");
  WFURLRef url = WFURLCreateWithUTF8("http://example.com/");
  WFDataRef data = WFDataCreate("page", 4);
  for (int attempt = 0; attempt < 3; ++attempt) { /* each call tries again */
    WFStringRef title = before;
    WFStringRef message = before;
    CHECK(WFIsWebPageExplicit(content, NULL, &title, &message) == 0);
    CHECK(title == before);
    CHECK(message == NULL);
    message = before;
    CHECK(WFIsURLExplicit(url, data, &title, &message) == 0);
    CHECK(title == before);
    CHECK(message == NULL);
  }
  WFRelease(data);
  WFRelease(url);
  WFRelease(content);
  WFRelease(before);
  return failures != 0;
}
