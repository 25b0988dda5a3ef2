#include "notebook/c_interface/ktformula9.h"

const char* ktf9_version(void) {
  return KT_VERSION;
}

int ktf9_abi_version(void) {
  return KTF9_ABI_VERSION;
}
