#include "app/command_line.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/menu_command.h"
#include "platform/text.h"

namespace tavrine {
namespace {

ExitCode showMenuOf(const std::vector<std::string>& paths) {
  showMenu({paths.begin(), paths.end()}, std::cout);
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write to standard output");
  return ExitCode::done;
}

}  // namespace

ExitCode runCommandLine(int argc, char** argv) {
  CLI::App app("Locks files and folders in encrypted images of their own.", "tavrine");
  app.set_version_flag("--version", "tavrine " TAVRINE_VERSION);
  app.require_subcommand(1);

  std::vector<std::string> paths;
  CLI::App* menu = app.add_subcommand("menu", "Show the file manager's entries for a selection: title and command URL");
  menu->add_option("PATH", paths, "Selected files and folders")->required()->check([](const std::string& path) {
    return path.empty() ? "a path is empty" : "";
  });

  try {
    app.parse(argc, argv);
    return showMenuOf(paths);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitCode::done : ExitCode::wrongUsage;
  } catch (const std::exception& error) {
    std::cerr << "tavrine: " << repairedUtf8(error.what()) << '\n';
    return ExitCode::failed;
  }
}

}  // namespace tavrine
