/* content_query.c: the content queries from C, on the shared library with a small map of the tests' own. */
#include "sifterra/sifterra.h"

#include "check.h"

#define HARMLESS                                                                                       \
  "<title>The museum</title><p>weather school garden recipe library football science history teacher " \
  "homework museum kitchen"
#define ADULT                                                                                            \
  "<title>Videos</title><p>xxx porn nude erotic escort webcam sexy videos hardcore adult xxx porn nude " \
  "erotic"
#define LABELLED "<meta name=\"rating\" content=\"RTA-5042-1996-1400-1577-RTA\"><p>words"

struct Row {
  const char* what;
  const char* page;
  signed char restricted;
  const char* title;   /* NULL: the page has none */
  const char* message; /* the beginning of it */
};

static const struct Row kRows[] = {
    {"a harmless page", HARMLESS, 0, "The museum", "[ 1:1.00 ]    2:0.00"},
    {"an adult page", ADULT, 1, "Videos", "1:0.00    [ 2:1.00 ]"},
    {"a page that labels itself", LABELLED, 1, NULL, "SELF-RESTRICTED"},
    {"next to nothing", "<p>few words", 0, NULL, "Page not analyzed: too little content found"},
    {"a frameset", "<title>F</title><frameset><frame src=a></frameset>", 0, "F", "Page not analyzed: "},
    {"nothing", "", 0, NULL, "Page not analyzed: too little content found"},
};

static void checkRow(const struct Row* row, signed char restricted, WFStringRef title, WFStringRef message) {
  const int before = failures;
  CHECK(restricted == row->restricted);
  if (row->title) {
    CHECK_TEXT(WFStringGetUTF8(title), row->title);
  } else {
    CHECK(title == NULL);
  }
  CHECK(message && strncmp(WFStringGetUTF8(message), row->message, strlen(row->message)) == 0);
  if (failures != before) {
    fprintf(stderr, "  for %s, message \"%s\"\n", row->what, message ? WFStringGetUTF8(message) : "NULL");
  }
}

static void pagesAreJudged(void) {
  WFStringRef url = WFStringCreateWithUTF8("http://example.com/");
  WFURLRef address = WFURLCreateWithUTF8("http://example.com/");
  for (size_t i = 0; i < sizeof kRows / sizeof kRows[0]; ++i) {
    const struct Row* row = &kRows[i];
    WFStringRef content = WFStringCreateWithUTF8(row->page);
    WFDataRef data = WFDataCreate(row->page, strlen(row->page));
    WFStringRef title = NULL;
    WFStringRef message = NULL;
    signed char restricted;
    WFReleaseScopeBegin();
    restricted = WFIsWebPageExplicit(content, url, &title, &message);
    checkRow(row, restricted, title, message);
    restricted = WFIsURLExplicit(address, data, &title, &message);
    checkRow(row, restricted, title, message);
    restricted = WFIsWebPageExplicit(WFDecodePage(data, NULL), url, &title, &message);
    checkRow(row, restricted, title, message);
    WFReleaseScopeEnd();
    WFRelease(content);
    WFRelease(data);
  }
  WFRelease(url);
  WFRelease(address);
}

static void withoutContentTheTitleIsLeftAlone(void) {
  WFStringRef before = WFStringCreateWithUTF8("before");
  WFStringRef title = before;
  WFStringRef message = NULL;
  CHECK(WFIsWebPageExplicit(NULL, NULL, &title, &message) == 0);
  CHECK(title == before);
  CHECK_TEXT(WFStringGetUTF8(message), "Allowed, nil pageContentString");
  CHECK(WFIsWebPageExplicit(NULL, NULL, NULL, NULL) == 0);
  WFRelease(before);
}

static void otherSchemesStoreNothing(void) {
  WFStringRef before = WFStringCreateWithUTF8("before");
  WFStringRef title = before;
  WFStringRef message = before;
  WFURLRef url = WFURLCreateWithUTF8("ftp://example.com/");
  WFDataRef data = WFDataCreate(ADULT, strlen(ADULT));
  CHECK(WFIsURLExplicit(url, data, &title, &message) == 0);
  CHECK(WFIsURLExplicit(NULL, data, &title, &message) == 0);
  CHECK(title == before && message == before);
  WFRelease(url);
  WFRelease(data);
  WFRelease(before);
}

/* A page in another encoding has to be decoded first. */
static void pagesInOtherEncodingsAreDecoded(void) {
  static const char page[] = "<title>Caf\xE9</title><p>weather school garden recipe library football science";
  WFURLRef url = WFURLCreateWithUTF8("HTTP://example.com/");
  WFDataRef data = WFDataCreate(page, sizeof page - 1);
  WFStringRef charset = WFStringCreateWithUTF8("ISO-8859-1");
  WFStringRef title = NULL;
  WFStringRef message = NULL;
  WFReleaseScopeBegin();
  CHECK(WFIsURLExplicit(url, data, &title, &message) == 0);
  CHECK_TEXT(WFStringGetUTF8(message), "Allowed, nil pageContentString");
  CHECK(WFIsWebPageExplicit(WFDecodePage(data, charset), NULL, &title, &message) == 0);
  CHECK_TEXT(WFStringGetUTF8(title), "Caf\xC3\xA9");
  CHECK_TEXT(WFStringGetUTF8(message), "[ 1:1.00 ]    2:0.00");
  CHECK(WFDecodePage(NULL, charset) == NULL);
  WFReleaseScopeEnd();
  WFRelease(charset);
  WFRelease(data);
  WFRelease(url);
}

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  pagesAreJudged();
  withoutContentTheTitleIsLeftAlone();
  otherSchemesStoreNothing();
  pagesInOtherEncodingsAreDecoded();
  return failures != 0;
}
