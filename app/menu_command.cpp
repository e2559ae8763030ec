#include "app/menu_command.h"

#include "kit/commands/finder_menu_model.h"
#include "kit/commands/shared_state.h"

namespace tavrine {

void showMenu(const std::vector<Path>& selection, Console& console) {
  for (const FinderMenuEntry& entry : currentEntries(selection, SharedState::defaultURL())) {
    const std::string url = entry.command.url();
    console.answer(entry.title + "\t" + url, JsonLine("entry").add("title", entry.title).add("url", url));
  }
}

}  // namespace tavrine
