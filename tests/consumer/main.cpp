#include <iostream>

#include "QVFoundation/Version.h"

int main() {
  using namespace QVFoundation;
  std::cout << "library matches headers: " << std::boolalpha << (versionAtRunTime() == version) << '\n';
}
