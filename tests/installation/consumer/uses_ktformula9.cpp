#include <ktformula9.h>
#include <string_view>

int main() {
  return std::string_view(ktf9_version()) == EXPECTED_VERSION ? 0 : 1;
}
