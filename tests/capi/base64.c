/* base64.c: the base64 functions from C. */
#include "sifterra/sifterra.h"

#include "check.h"

static void textsComeBack(void) {
  static const char* const titles[] = {"", "a", "Caf\xC3\xA9", "\xE5\xBF\xAB\xE4\xB9\x90 & more"};
  for (size_t i = 0; i < sizeof titles / sizeof titles[0]; ++i) {
    WFStringRef title = WFStringCreateWithUTF8(titles[i]);
    WFReleaseScopeBegin();
    CHECK_TEXT(WFStringGetUTF8(NSStringFrom64BaseString(NS64BaseStringFromString(title))), titles[i]);
    WFReleaseScopeEnd();
    WFRelease(title);
  }
}

static void bytesAreDecoded(void) {
  WFStringRef text = WFStringCreateWithUTF8("//79");
  WFStringRef other = WFStringCreateWithUTF8("not base64");
  WFStringRef empty = WFStringCreateWithUTF8("");
  WFDataRef data;
  signed char flag;
  WFReleaseScopeBegin();
  data = DecodeBase64(text);
  CHECK(WFDataGetLength(data) == 3 && memcmp(WFDataGetBytes(data), "\xFF\xFE\xFD", 3) == 0);
  CHECK(NSStringFrom64BaseString(text) == NULL);
  for (flag = 0; flag <= 1; ++flag) {
    data = DecodeBase64WithNewlines(text, flag);
    CHECK(WFDataGetLength(data) == 3 && memcmp(WFDataGetBytes(data), "\xFF\xFE\xFD", 3) == 0);
    CHECK(DecodeBase64WithNewlines(other, flag) == NULL);
    CHECK(DecodeBase64WithNewlines(NULL, flag) == NULL);
  }
  CHECK(DecodeBase64(other) == NULL && DecodeBase64(NULL) == NULL);
  CHECK(DecodeBase64(empty) != NULL && WFDataGetLength(DecodeBase64(empty)) == 0);
  CHECK(NSStringFrom64BaseString(other) == NULL && NSStringFrom64BaseString(NULL) == NULL);
  CHECK(NS64BaseStringFromString(NULL) == NULL);
  CHECK_TEXT(WFStringGetUTF8(NS64BaseStringFromString(empty)), "");
  WFReleaseScopeEnd();
  WFRelease(text);
  WFRelease(other);
  WFRelease(empty);
}

/* What decoding hands out is borrowed: gone with its scope, unless it was retained. */
static void resultsLiveAsLongAsTheirScope(void) {
  WFStringRef text = WFStringCreateWithUTF8("YWJj");
  WFDataRef gone;
  WFDataRef kept;
  WFReleaseScopeBegin();
  gone = DecodeBase64(text);
  kept = WFRetain(DecodeBase64(text));
  CHECK_ALIVE(gone);
  WFReleaseScopeEnd();
  CHECK_FREED(gone);
  CHECK_ALIVE(kept);
  CHECK(WFDataGetLength(kept) == 3);
  WFRelease(kept);
  WFRelease(text);
}

int main(void) {
  textsComeBack();
  bytesAreDecoded();
  resultsLiveAsLongAsTheirScope();
  return failures != 0;
}
