#include "app/command_line.h"
#include "platform/core_dumps.h"

int main(int argc, char** argv) {
  tavrine::disableCoreDumps();
  return static_cast<int>(tavrine::runCommandLine(argc, argv));
}
