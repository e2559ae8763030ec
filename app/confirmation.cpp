#include "app/confirmation.h"

#include "app/shown_text.h"
#include "platform/terminal.h"

namespace tavrine {

bool confirm(const std::string& question, const StopRequest& stop) {
  const auto terminal = ControllingTerminal::open(stop);
  if (!terminal) return false;
  const auto answer = terminal->readLine(shownText(question) + " [y/N] ");
  return answer && (*answer == "y" || *answer == "Y" || *answer == "yes");
}

}  // namespace tavrine
