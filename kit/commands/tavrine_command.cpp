#include "kit/commands/tavrine_command.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kit/commands/command_url.h"
#include "kit/errors/tavrine_error.h"
#include "kit/records/locked_extension.h"
#include "platform/text.h"

namespace tavrine {
namespace {

using Action = TavrineCommand::Action;

struct HostWord {
  std::string_view word;
  Action action;
};

constexpr std::array<HostWord, 5> hostWords = {{
    {"lock", Action::lock},
    {"lock-now", Action::lockNow},
    {"unlock", Action::unlock},
    {"remove-lock", Action::removeLock},
    {"reveal", Action::reveal},
}};

constexpr std::string_view itemName = "path";

bool takesSeveralPaths(Action action) {
  return action == Action::lock || action == Action::lockNow;
}

std::string_view hostWord(Action action) {
  for (const HostWord& host : hostWords) {
    if (host.action == action) return host.word;
  }
  return {};
}

std::optional<Action> actionOf(std::string_view host) {
  for (const HostWord& known : hostWords) {
    if (known.word == host) return known.action;
  }
  return std::nullopt;
}

/// The path an item's value stands for; nothing for a value that is no absolute path.
std::optional<Path> pathOf(std::string_view value) {
  std::string path = percentDecoded(value);
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) return std::nullopt;
  return Path(std::move(path));
}

std::vector<Path> pathsOf(const std::vector<URLComponents::QueryItem>& items) {
  std::vector<Path> paths;
  for (const auto& item : items) {
    if (item.name != itemName || !item.value) continue;
    if (auto path = pathOf(*item.value)) paths.push_back(std::move(*path));
  }
  return paths;
}

std::string displayName(const Path& path) {
  return pathExtension(path) == lockedExtension ? nameWithoutExtension(path) : lastComponent(path);
}

}  // namespace

const std::set<std::string, std::less<>>& TavrineCommand::trustedSenders() {
  static const std::set<std::string, std::less<>> senders = {"com.orvandel.tavrine", "com.orvandel.tavrine.finder"};
  return senders;
}

TavrineCommand::TavrineCommand(Action action, std::vector<Path> paths) : action_(action), paths_(std::move(paths)) {
  for (Path& path : paths_) path = withoutSlashAtEnd(path);
}

TavrineCommand TavrineCommand::lock(std::vector<Path> paths) {
  return {Action::lock, std::move(paths)};
}
TavrineCommand TavrineCommand::unlock(Path path) {
  return {Action::unlock, {std::move(path)}};
}
TavrineCommand TavrineCommand::lockNow(std::vector<Path> paths) {
  return {Action::lockNow, std::move(paths)};
}
TavrineCommand TavrineCommand::removeLock(Path path) {
  return {Action::removeLock, {std::move(path)}};
}
TavrineCommand TavrineCommand::reveal(Path path) {
  return {Action::reveal, {std::move(path)}};
}

std::optional<TavrineCommand> TavrineCommand::parse(std::string_view url) {
  const auto components = URLComponents::split(url);
  if (!components || components->scheme != scheme) return std::nullopt;
  std::vector<Path> paths = pathsOf(components->queryItems);
  if (paths.empty() || !components->host) return std::nullopt;
  const auto action = actionOf(*components->host);
  if (!action || (!takesSeveralPaths(*action) && paths.size() != 1)) return std::nullopt;
  return TavrineCommand(*action, std::move(paths));
}

bool TavrineCommand::operator==(const TavrineCommand& other) const {
  return action_ == other.action_ &&
         std::equal(paths_.begin(), paths_.end(), other.paths_.begin(), other.paths_.end(),
                    [](const Path& one, const Path& two) { return one.native() == two.native(); });
}

std::string TavrineCommand::url() const {
  std::string text(scheme);
  text += "://";
  text += hostWord(action_);
  char separator = '?';
  for (const Path& path : paths_) {
    text += separator;
    text += itemName;
    text += '=';
    text += percentEncoded(path.string());
    separator = '&';
  }
  if (paths_.empty()) text += separator;
  return text;
}

bool TavrineCommand::needsConfirmation(const std::optional<std::string>& sender, bool testOverride) const {
  if (!takesSeveralPaths(action_)) return false;
  if (!sender) return true;
  if (trustedSenders().contains(*sender)) return false;
  return !(testOverride && *sender == testSender);
}

std::string TavrineCommand::confirmationQuestion() const {
  std::vector<std::string> names;
  for (const Path& path : paths_) names.push_back(displayName(path));
  return "Another app asked Tavrine to lock " + repairedUtf8(TavrineError::list(names)) + ". Lock " +
         (names.size() == 1 ? "it" : "them") + "?";
}

}  // namespace tavrine
