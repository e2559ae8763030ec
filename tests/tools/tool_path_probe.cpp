// Prints where a program at this one's place finds the tool named by its argument.
#include <iostream>

#include "platform/system.h"

int main(int, char** arguments) {
  std::cout << tavrine::toolPath(arguments[1]).string();
}
