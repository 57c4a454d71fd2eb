/* judge_page [-r ROOT] PAGE...: judges pages through the C interface. What a program outside the project
 * looks like; the tests build it against the installed package, as C and as C++. */
#include <sifterra/sifterra.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static WFDataRef read_file(const char* path) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) return NULL;
  char* bytes = NULL;
  size_t length = 0, capacity = 0, got = 0;
  do {
    if (length == capacity) {
      capacity = capacity == 0 ? 65536 : 2 * capacity;
      bytes = (char*)realloc(bytes, capacity);
      if (bytes == NULL) abort();
    }
    got = fread(bytes + length, 1, capacity - length, file);
    length += got;
  } while (got > 0);
  fclose(file);
  WFDataRef data = WFDataCreate(bytes, length);
  free(bytes);
  return data;
}

int main(int argc, char** argv) {
  int first = 1;
  if (argc > 2 && strcmp(argv[1], "-r") == 0) {
    WFSetFileSystemRoot(argv[2]);
    first = 3;
  }
  if (strcmp(WFVersion(), SIFTERRA_VERSION) != 0) return 3;
  WFStringRef address = WFStringCreateWithUTF8("http://example.com/");
  int judged = 1;
  for (int i = first; i < argc; ++i) {
    WFDataRef data = read_file(argv[i]);
    if (data == NULL) {
      fprintf(stderr, "cannot read %s\n", argv[i]);
      return 2;
    }
    WFReleaseScopeBegin();
    WFStringRef title = NULL, message = NULL;
    signed char restricted = WFIsWebPageExplicit(WFDecodePage(data, NULL), address, &title, &message);
    if (message == NULL) judged = 0; /* no judge: the map was not found */
    printf("%s\t%s\t%s\n", restricted ? "restricted" : "allowed", title ? WFStringGetUTF8(title) : "-",
           message ? WFStringGetUTF8(message) : "no judge");
    WFReleaseScopeEnd();
    WFRelease(data);
  }
  WFRelease(address);
  return judged ? 0 : 4;
}
