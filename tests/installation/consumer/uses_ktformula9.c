#include <ktformula9.h>
#include <string.h>

int main(void) {
  return strcmp(ktf9_version(), EXPECTED_VERSION) == 0 ? 0 : 1;
}
