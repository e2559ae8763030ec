// Any text is parsed without a crash, and a command that comes out of it survives its own URL.

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "kit/commands/tavrine_command.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// A URL made of `bytes` as the path of a command: it must come back whatever the bytes are.
void roundTrip(std::string_view bytes) {
  if (bytes.find('\0') != std::string_view::npos) return;
  const auto command = tavrine::TavrineCommand::lock({tavrine::Path("/" + std::string(bytes)), "/b"});
  require(tavrine::TavrineCommand::parse(command.url()) == command);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto command = tavrine::TavrineCommand::parse(text)) {
    require(tavrine::TavrineCommand::parse(command->url()) == command);
    require(!command->paths().empty());
    for (const tavrine::Path& path : command->paths()) require(path.is_absolute());
    require(!command->confirmationQuestion().empty());
  }
  roundTrip(text);
  return 0;
}
