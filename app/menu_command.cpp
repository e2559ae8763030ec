#include "app/menu_command.h"

#include <ostream>

#include "kit/commands/finder_menu_model.h"
#include "kit/commands/shared_state.h"

namespace tavrine {

void showMenu(const std::vector<Path>& selection, std::ostream& out) {
  std::vector<Path> absolute;
  for (const Path& path : selection) absolute.push_back(std::filesystem::absolute(path));
  for (const FinderMenuEntry& entry : currentEntries(absolute, SharedState::defaultURL())) {
    out << entry.title << '\t' << entry.command.url() << '\n';
  }
}

}  // namespace tavrine
