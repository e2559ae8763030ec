#include "app/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "app/arguments.h"
#include "app/commands.h"
#include "app/menu_command.h"
#include "app/support_directory.h"
#include "platform/private_folder.h"

namespace tavrine {
namespace {

enum class Takes { paths, onePath, noPath, pathsOrAll };

struct CommandForm {
  const char* name;
  const char* description;
  Takes takes;
  ExitCode (*run)(const Run&);  ///< null for what needs neither lock nor records
};

constexpr CommandForm forms[] = {
    {"lock", "Lock files and folders", Takes::paths, runLock},
    {"unlock", "Unlock locked items and tell where their contents are", Takes::paths, runUnlock},
    {"lock-now", "Lock unlocked items again", Takes::pathsOrAll, runLockNow},
    {"remove-lock", "Turn locked items back into ordinary ones", Takes::paths, runRemoveLock},
    {"reveal", "Tell where the contents of an unlocked item are", Takes::onePath, runReveal},
    {"list", "List all locked items", Takes::noPath, runList},
    {"recover", "Finish or undo what was interrupted, and tell what that was", Takes::noPath, runRecover},
    {"repair", "Hide the extensions of locked items and renew names of an earlier form", Takes::noPath, runRepair},
    {"menu", "Show the file manager's entries for a selection: title and command URL", Takes::paths, nullptr},
};

/// What the library fills in while it parses.
struct Parsed {
  Request request;
  std::string passwordFile;
  std::string supportDirectory;
};

/// Refuses an empty value, as an unset variable of a script gives it: it would stand for the user's own place.
std::string isNoEmptyPath(const std::string& path) {
  return path.empty() ? "the path is empty" : "";
}

/// The options that every command has, before its name and behind it.
void addCommonOptions(CLI::App& app, Parsed& parsed) {
  app.add_flag("--json", parsed.request.json, "Write one JSON object per line");
  app.add_flag("--quiet", parsed.request.quiet, "Say nothing of what went well, show no progress");
  app.add_flag("--no-color", parsed.request.noColor, "Use no colours");
  app.add_flag("--yes", parsed.request.yes, "Answer every question with yes");
  app.add_option("--password-file", parsed.passwordFile, "Read the password from FILE (- is standard input)")
      ->type_name("FILE")
      ->check(isNoEmptyPath);
  app.add_option("--support-dir", parsed.supportDirectory, "Keep Tavrine's records in DIR")
      ->type_name("DIR")
      ->check(isNoEmptyPath);
}

/// Lets a command take paths, which `requiredPaths` then finds among what the library leaves: taken as the option's
/// values, it would make two of "[a,b]". The option is there for the help.
void addPaths(CLI::App& command) {
  command.add_option("PATH", "Files and folders; behind -- whatever they look like")
      ->expected(0, CLI::detail::expected_max_vector_size)
      ->allow_extra_args(false);
  command.allow_extras();
}

CLI::App* addCommand(CLI::App& app, const CommandForm& form, Parsed& parsed) {
  CLI::App* command = app.add_subcommand(form.name, form.description);
  addCommonOptions(*command, parsed);
  if (form.takes != Takes::noPath) addPaths(*command);
  if (form.run == runLockNow) {
    command->add_flag("--all", parsed.request.all, "Lock every unlocked item");
    command->add_flag("--force", parsed.request.force, "Also lock items that programs still use");
  }
  if (form.run == runReveal) command->add_flag("--open", parsed.request.open, "Show them on the desktop as well");
  return command;
}

/// The paths before and behind "--", none of them empty and as many as the command takes.
std::vector<Path> givenPaths(const CLI::App& command, Takes takes, bool isAll,
                             const std::vector<std::string>& verbatim) {
  std::vector<std::string> words = command.remaining();
  for (const std::string& word : words) {
    if (word.size() > 1 && word.front() == '-') throw CLI::ExtrasError({word});
  }
  words.insert(words.end(), verbatim.begin(), verbatim.end());
  if (takes == Takes::noPath && !words.empty()) throw CLI::ExtrasError(words);
  if (takes == Takes::onePath && words.size() > 1) throw CLI::ExtrasError({words.begin() + 1, words.end()});
  if (isAll && !words.empty()) throw CLI::ValidationError("--all", "takes no PATH beside it");
  if (takes != Takes::noPath && !isAll && words.empty()) throw CLI::RequiredError("PATH");
  if (std::find(words.begin(), words.end(), "") != words.end()) throw CLI::ValidationError("PATH", "a path is empty");
  return {words.begin(), words.end()};
}

Request requestOf(const Parsed& parsed) {
  Request request = parsed.request;
  if (parsed.passwordFile == "-")
    request.passwordFile = "-";
  else if (!parsed.passwordFile.empty())
    request.passwordFile = std::filesystem::absolute(parsed.passwordFile);
  if (!parsed.supportDirectory.empty()) request.supportDirectory = std::filesystem::absolute(parsed.supportDirectory);
  for (Path& path : request.paths) path = std::filesystem::absolute(path);
  return request;
}

ExitCode runCommand(const CommandForm& form, const Request& request, Console& console) {
  if (form.run == nullptr) {
    showMenu(request.paths, console);
    return ExitCode::done;
  }
  makeFilesPrivate();
  const Path directory = supportDirectory(request.supportDirectory);
  // Whoever stands in a volume keeps it in use.
  std::filesystem::current_path("/");
  RunningWork work;
  const Interruption interruption(console, work);
  return form.run({request, directory, console, work, interruption});
}

ExitCode runToTheEnd(const CommandForm& form, const Parsed& parsed) {
  Console console(parsed.request);
  ExitCode code = ExitCode::failed;
  try {
    code = runCommand(form, requestOf(parsed), console);
  } catch (const std::exception& error) {  // whatever it is, it is told, and ends here
    const Failure failure = failureOf(error);
    console.failure(std::nullopt, failure);
    code = failure.code;
  }
  if (console.isWritten()) return code;
  console.remark("Standard output could not be written.");
  return code == ExitCode::done ? ExitCode::failed : code;
}

}  // namespace

ExitCode runCommandLine(int argc, const char* const* argv) {
  CLI::App app("Locks files and folders in encrypted images of their own.", "tavrine");
  app.set_version_flag("--version", "tavrine " TAVRINE_VERSION);
  app.require_subcommand(1);
  Parsed parsed;
  addCommonOptions(app, parsed);
  std::vector<std::pair<CLI::App*, const CommandForm*>> commands;
  for (const CommandForm& form : forms) commands.emplace_back(addCommand(app, form, parsed), &form);

  const Arguments arguments = Arguments::split(argc, argv);
  try {
    app.parse(
        std::vector<std::string>(arguments.parsed.rbegin(), arguments.parsed.rend()));  // it takes them from the back
    const auto chosen =
        std::find_if(commands.begin(), commands.end(), [](const auto& one) { return one.first->parsed(); });
    parsed.request.paths = givenPaths(*chosen->first, chosen->second->takes, parsed.request.all, arguments.verbatim);
    return runToTheEnd(*chosen->second, parsed);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? ExitCode::done : ExitCode::wrongUsage;
  }
}

}  // namespace tavrine
