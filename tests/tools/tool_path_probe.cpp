// Prints where a program at this one's place finds the tools named by its arguments.
#include <iostream>

#include "platform/system.h"

int main(int count, char** arguments) {
  for (int index = 1; index < count; ++index) std::cout << tavrine::toolPath(arguments[index]).string() << '\n';
  return 0;
}
