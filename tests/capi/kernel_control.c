/* kernel_control.c: the filter's control from C, where there is no filter. */
#include "sifterra/sifterra.h"

#include "check.h"

static void nullIsRefusedWithoutAsking(void) {
  CHECK(ThornwickGetManagedUser(NULL) == 2);
  CHECK(ThornwickGetIPv4Proxy(NULL) == 2);
  CHECK(ThornwickGetIPv6Proxy(NULL) == 2);
  CHECK(ThornwickSetIPv4Proxy(NULL) == 1);
  CHECK(ThornwickSetIPv6Proxy(NULL) == 1);
}

static void withoutAFilterEachFunctionFails(void) {
  ThornwickIPv4Address ipv4 = {16, 2, 0, 0, {0}};
  ThornwickIPv6Address ipv6 = {28, 30, 0, 0, {0}, 0};
  uint32_t uid = 7;
  CHECK(sizeof ipv4 == 16 && sizeof ipv6 == 28);
  CHECK(ThornwickOpenControlSocket() == 1);
  CHECK(ThornwickSetManagedUser(501) == 1);
  CHECK(ThornwickGetManagedUser(&uid) == 1 && uid == 7);
  CHECK(ThornwickSetIPv4Proxy(&ipv4) == 1);
  CHECK(ThornwickSetIPv6Proxy(&ipv6) == 1);
  CHECK(ThornwickGetIPv4Proxy(&ipv4) == 1);
  CHECK(ThornwickGetIPv6Proxy(&ipv6) == 1);
  CHECK(ThornwickSetProxyToLocalPort(8080) == 2);
  CHECK(ThornwickTurnOnHTTPSFiltering() == 1);
  CHECK(ThornwickDebugPrint() == 1);
}

int main(void) {
  WFSetFileSystemRoot(SIFTERRA_TEST_ROOT);
  nullIsRefusedWithoutAsking();
  withoutAFilterEachFunctionFails();
  return failures != 0;
}
