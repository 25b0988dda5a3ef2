#include "notebook/c_interface/ktformula9.h"

const char* ktf9_version(void) {
  return KT_VERSION;
}
