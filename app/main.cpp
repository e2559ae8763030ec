#include "app/command_line.h"

int main(int argc, char** argv) {
  return static_cast<int>(tavrine::runCommandLine(argc, argv));
}
