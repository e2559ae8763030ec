#include "platform/linux/programs/lsof/holder.h"

namespace tavrine {

std::string fieldLines(const Holder& holder) {
  std::string lines = "p" + std::to_string(holder.pid) + "\nc" + holder.command + "\n";
  for (const HeldFile& file : holder.files) lines += "f" + file.descriptor + "\na" + file.access + "\n";
  return lines;
}

}  // namespace tavrine
