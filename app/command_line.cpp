#include "app/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/arguments.h"
#include "app/menu_command.h"
#include "platform/text.h"

namespace tavrine {
namespace {

/// Lets a command take paths, which `requiredPaths` then finds among what the library leaves: taken as the option's
/// values, it would make two of "[a,b]". The option is there for the help.
void addPaths(CLI::App& command, const std::string& description) {
  command.add_option("PATH", description)->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
  command.allow_extras();
}

/// The paths before and behind "--": at least one, none of them empty.
std::vector<Path> requiredPaths(const CLI::App& command, const std::vector<std::string>& verbatim) {
  std::vector<std::string> words = command.remaining();
  for (const std::string& word : words) {
    if (word.size() > 1 && word.front() == '-') throw CLI::ExtrasError({word});
  }
  words.insert(words.end(), verbatim.begin(), verbatim.end());
  if (words.empty()) throw CLI::RequiredError("PATH");
  if (std::find(words.begin(), words.end(), "") != words.end()) throw CLI::ValidationError("PATH", "a path is empty");
  return {words.begin(), words.end()};
}

ExitCode showMenuOf(const std::vector<Path>& paths) {
  showMenu(paths, std::cout);
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write to standard output");
  return ExitCode::done;
}

}  // namespace

ExitCode runCommandLine(int argc, const char* const* argv) {
  CLI::App app("Locks files and folders in encrypted images of their own.", "tavrine");
  app.set_version_flag("--version", "tavrine " TAVRINE_VERSION);
  app.require_subcommand(1);

  CLI::App* menu = app.add_subcommand("menu", "Show the file manager's entries for a selection: title and command URL");
  addPaths(*menu, "Selected files and folders");

  const Arguments arguments = Arguments::split(argc, argv);
  try {
    app.parse(
        std::vector<std::string>(arguments.parsed.rbegin(), arguments.parsed.rend()));  // it takes them from the back
    return showMenuOf(requiredPaths(*menu, arguments.verbatim));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitCode::done : ExitCode::wrongUsage;
  } catch (const std::exception& error) {
    std::cerr << "tavrine: " << repairedUtf8(error.what()) << '\n';
    return ExitCode::failed;
  }
}

}  // namespace tavrine
